#pragma once

#include "fakes/FakeGraph.h"

namespace fakes {

/// While it lives, CoCreateInstance of `clsid` in this process makes objects with `make`
/// (one reference). Register from the multithreaded apartment. Journalled as
/// "<name>.CreateInstance"; `results["CreateInstance"]` refuses.
class FakeClass : public IClassFactory {
public:
    using Make = std::function<ComPtr<IUnknown>()>;

    FakeClass(std::string name, REFCLSID clsid, Make make)
        : m_name(std::move(name)), m_make(std::move(make)) {
        CoRegisterClassObject(clsid, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie);
    }
    ~FakeClass() { CoRevokeClassObject(m_cookie); }

    ResultTable results;

    /// The next creation answers this.
    void FailNext(HRESULT result) { results["CreateInstance"] = {result}; }

private:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override {
        *out = nullptr;
        return Invoke(m_name, results, kCall, "CreateInstance", std::tuple<>(),
                      [&] { return m_make()->QueryInterface(iid, out); });
    }
    STDMETHODIMP LockServer(WINBOOL) override { return S_OK; }

    const std::string m_name;
    const Make m_make;
    DWORD m_cookie = 0;
};

/// A class of one kind of fake; `configure` gets each new one.
template <class Fake> class FakeClassOf : public FakeClass {
public:
    using Configure = std::function<void(Fake&)>;
    FakeClassOf(const std::string& name, REFCLSID clsid, std::function<ComPtr<Fake>()> make,
                Configure configure)
        : FakeClass(name, clsid, [this, make, configure] {
              const ComPtr<Fake> fake = make();
              m_last = fake.Get();
              if (configure) {
                  configure(*m_last);
              }
              return ComPtr<IUnknown>(m_last);
          }) {}

    /// The one made last, without a reference; valid while the library keeps it.
    Fake& Last() const { return *m_last; }

private:
    Fake* m_last = nullptr;
};

/// Makes FakeGraphs for CLSID_FilterGraph. Journalled as "FilterGraph.CreateInstance".
class FakeGraphClass : public FakeClassOf<FakeGraph> {
public:
    explicit FakeGraphClass(Configure configure = nullptr)
        : FakeClassOf("FilterGraph", CLSID_FilterGraph, &MakeGraph, configure) {}
};

/// Makes filters of a CLSID; the name serves the filters too.
class FakeFilterClass : public FakeClassOf<FakeFilter> {
public:
    FakeFilterClass(const std::string& name, REFCLSID clsid, const PinSpecs& pins,
                    Configure configure = nullptr)
        : FakeClassOf(
              name, clsid, [=] { return MakeFilter(name, pins, clsid); }, configure) {}
};

} // namespace fakes
