#include "fakes/FakeClass.h"

#include <stdexcept>

namespace fakes {

FakeClass::FakeClass(std::string name, REFCLSID clsid, Make make)
    : m_name(std::move(name)), m_make(std::move(make)) {
    if (FAILED(CoRegisterClassObject(clsid, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                     &m_cookie))) {
        throw std::runtime_error("the class object of " + m_name + " cannot be registered");
    }
}

HRESULT FakeClass::QueryInterface(REFIID iid, void** out) {
    const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
    *out = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

HRESULT FakeClass::CreateInstance(IUnknown*, REFIID iid, void** out) {
    *out = nullptr;
    return Invoke(m_name, results, kCall, "CreateInstance", std::tuple<>(), [&] {
        const ComPtr<IUnknown> object = m_make();
        m_created += object ? 1 : 0;
        return object ? object->QueryInterface(iid, out) : E_OUTOFMEMORY;
    });
}

} // namespace fakes
