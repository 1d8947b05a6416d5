#include "fakes/FakeClass.h"

#include <stdexcept>

namespace fakes {

FakeClass::FakeClass(std::string name, REFCLSID clsid, Make make)
    : m_name(std::move(name)), m_make(std::move(make)) {
    const HRESULT result =
        CoRegisterClassObject(clsid, static_cast<IClassFactory*>(this), CLSCTX_INPROC_SERVER,
                              REGCLS_MULTIPLEUSE, &m_cookie);
    if (FAILED(result)) {
        throw std::runtime_error("the class object of " + m_name + " cannot be registered");
    }
}

FakeClass::~FakeClass() {
    CoRevokeClassObject(m_cookie);
}

HRESULT FakeClass::QueryInterface(REFIID iid, void** out) {
    const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
    *out = known ? static_cast<IClassFactory*>(this) : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

HRESULT FakeClass::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    *out = nullptr;
    return Invoke(m_name, results, kCall, "CreateInstance", std::tuple<>(), [&]() -> HRESULT {
        if (outer != nullptr) {
            return CLASS_E_NOAGGREGATION;
        }
        const ComPtr<IUnknown> object = m_make();
        if (!object) {
            return E_OUTOFMEMORY;
        }
        ++m_created;
        return object->QueryInterface(iid, out);
    });
}

FakeGraphClass::FakeGraphClass(std::function<void(FakeGraph&)> configure)
    : FakeClass("FilterGraph", CLSID_FilterGraph, [this, configure]() -> ComPtr<IUnknown> {
          const ComPtr<FakeGraph> graph = MakeGraph();
          m_last = graph.Get();
          if (configure) {
              configure(*m_last);
          }
          return static_cast<IUnknown*>(graph.Get());
      }) {}

FakeFilterClass::FakeFilterClass(std::string name, REFCLSID clsid, PinSpecs pins,
                                 std::function<void(FakeFilter&)> configure)
    : FakeClass(name, clsid,
                [this, name, clsid, pins = std::move(pins), configure]() -> ComPtr<IUnknown> {
                    const ComPtr<FakeFilter> filter = MakeFilter(name, pins);
                    filter->clsid = clsid;
                    m_last = filter.Get();
                    if (configure) {
                        configure(*m_last);
                    }
                    return static_cast<IUnknown*>(filter.Get());
                }) {}

} // namespace fakes
