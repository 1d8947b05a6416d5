#include "BaseClasses/ClassFactory.h"

#include <atomic>
#include <new>

namespace ymdshow {
namespace {

std::atomic<long> g_objects{0};
std::atomic<long> g_locks{0};

} // namespace

void server::LockServer(bool isLock) noexcept {
    g_locks += isLock ? 1 : -1;
}

bool server::CanUnload() noexcept {
    return g_objects == 0 && g_locks == 0;
}

ServerObject::ServerObject() noexcept {
    ++g_objects;
}

ServerObject::~ServerObject() {
    --g_objects;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    if (outer != nullptr && !m_class.isAggregatable) {
        return CLASS_E_NOAGGREGATION;
    }
    // Only the inner IUnknown may be handed to the outer object.
    if (outer != nullptr && iid != __uuidof(IUnknown)) {
        return E_NOINTERFACE;
    }
    try {
        return m_class.create(outer, iid, out);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

HRESULT ClassFactory::LockServer(BOOL isLock) {
    server::LockServer(isLock != FALSE);
    return S_OK;
}

HRESULT GetClassObjectFromTable(std::span<const ClassObject> classes, REFCLSID clsid, REFIID iid,
                                void** out) noexcept {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    for (const ClassObject& candidate : classes) {
        if (*candidate.clsid == clsid) {
            auto* const factory = new (std::nothrow) ClassFactory(candidate);
            if (factory == nullptr) {
                return E_OUTOFMEMORY;
            }
            const HRESULT hr = factory->QueryInterface(iid, out);
            factory->Release();
            return hr;
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

} // namespace ymdshow
