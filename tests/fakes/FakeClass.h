#pragma once

#include <windows.h>

#include <functional>
#include <optional>
#include <string>

#include "fakes/FakeFilter.h"
#include "fakes/FakeGraph.h"
#include "fakes/FakeObject.h"

namespace fakes {

/// While it lives, CoCreateInstance of `clsid` in this process makes objects with `make`
/// (one reference; null for E_OUTOFMEMORY). Register from the multithreaded apartment.
/// Journalled as "<name>.CreateInstance"; `results["CreateInstance"]` refuses.
class FakeClass : public IClassFactory {
public:
    using Make = std::function<ComPtr<IUnknown>()>;

    FakeClass(std::string name, REFCLSID clsid, Make make);
    ~FakeClass();
    FakeClass(const FakeClass&) = delete;
    FakeClass& operator=(const FakeClass&) = delete;

    ResultTable results;

    /// The next creation answers this.
    void FailNext(HRESULT result) { results["CreateInstance"] = {result}; }
    std::size_t Created() const { return m_created; }

private:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    HRESULT STDMETHODCALLTYPE LockServer(WINBOOL) override { return S_OK; }

    std::string m_name;
    Make m_make;
    DWORD m_cookie = 0;
    std::size_t m_created = 0;
};

/// Makes FakeGraphs for CLSID_FilterGraph; `configure` gets each new one. Journalled as
/// "FilterGraph.CreateInstance".
class FakeGraphClass : public FakeClass {
public:
    explicit FakeGraphClass(std::function<void(FakeGraph&)> configure = nullptr);

    /// The graph made last, without a reference; valid while the library keeps it.
    FakeGraph& Last() const { return *m_last; }

private:
    FakeGraph* m_last = nullptr;
};

/// Makes filters of a CLSID; the name serves the filters too.
class FakeFilterClass : public FakeClass {
public:
    FakeFilterClass(std::string name, REFCLSID clsid, PinSpecs pins,
                    std::function<void(FakeFilter&)> configure = nullptr);
    FakeFilter& Last() const { return *m_last; }

private:
    FakeFilter* m_last = nullptr;
};

} // namespace fakes
