#include "base/Pin.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "base/Enumerators.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

LPWSTR CopyText(const std::wstring& text) {
    const std::size_t size = text.size() + 1;
    auto* const copy = static_cast<LPWSTR>(CoTaskMemAlloc(size * sizeof(wchar_t)));
    return copy == nullptr ? nullptr : std::wmemcpy(copy, text.c_str(), size);
}

Pin::Pin(Filter& filter, PIN_DIRECTION direction, std::wstring name)
    : m_filter(filter), m_direction(direction), m_name(std::move(name)) {}

HRESULT STDMETHODCALLTYPE Pin::QueryInterface(REFIID iid, void** out) {
    return ymdshow::AnswerQuery(*this, Interface(iid), out);
}

ULONG STDMETHODCALLTYPE Pin::AddRef() {
    return m_filter.AddRef();
}
ULONG STDMETHODCALLTYPE Pin::Release() {
    return m_filter.Release();
}

void* Pin::Interface(REFIID iid) {
    if (iid == IID_IUnknown || iid == IID_IPin) {
        return static_cast<IPin*>(this);
    }
    return iid == IID_IQualityControl ? static_cast<IQualityControl*>(this) : nullptr;
}

HRESULT Pin::CheckConnectable() const {
    if (IsConnected()) {
        return VFW_E_ALREADY_CONNECTED;
    }
    return m_filter.State() == State_Stopped || IsLiveConnectable() ? S_OK : VFW_E_NOT_STOPPED;
}

HRESULT Pin::SetConnection(IPin* peer, const AM_MEDIA_TYPE& type) {
    const std::lock_guard lock(m_connectionMutex);
    const HRESULT hr = m_type.Assign(type);
    if (SUCCEEDED(hr)) {
        m_peer = peer;
        m_isConnected = true;
    }
    return hr;
}

void Pin::ClearConnection() {
    m_isConnected = false;
    OnDisconnect();
    ComPtr<IPin> peer; // released without the mutex
    const std::lock_guard lock(m_connectionMutex);
    peer.Swap(m_peer);
    m_type.Reset();
}

HRESULT Pin::SetType(const AM_MEDIA_TYPE& type) {
    const std::lock_guard lock(m_connectionMutex);
    return m_type.Assign(type);
}

HRESULT STDMETHODCALLTYPE Pin::Disconnect() {
    const std::lock_guard lock(m_filter.Lock());
    if (!IsConnected()) {
        return S_FALSE;
    }
    if (m_filter.State() != State_Stopped) {
        if (!IsLiveConnectable()) {
            return VFW_E_NOT_STOPPED;
        }
        OnLiveDisconnect();
    }
    ClearConnection();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Pin::ConnectedTo(IPin** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(m_connectionMutex);
    *out = nullptr;
    return IsConnected() ? m_peer.CopyTo(out) : VFW_E_NOT_CONNECTED;
}

HRESULT STDMETHODCALLTYPE Pin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(m_connectionMutex);
    *type = AM_MEDIA_TYPE{};
    return IsConnected() ? ymdshow::CopyMediaType(*type, m_type.Get()) : VFW_E_NOT_CONNECTED;
}

HRESULT STDMETHODCALLTYPE Pin::QueryPinInfo(PIN_INFO* info) {
    if (info == nullptr) {
        return E_POINTER;
    }
    constexpr std::size_t kCapacity = std::size(PIN_INFO{}.achName);
    const std::size_t length = std::min(m_name.size(), kCapacity - 1);
    std::wmemcpy(info->achName, m_name.c_str(), length);
    info->achName[length] = L'\0';
    info->dir = m_direction;
    info->pFilter = &m_filter;
    m_filter.AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Pin::QueryDirection(PIN_DIRECTION* direction) {
    if (direction == nullptr) {
        return E_POINTER;
    }
    *direction = m_direction;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Pin::QueryId(LPWSTR* id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = CopyText(m_name);
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE Pin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    return CheckType(*type) == S_OK ? S_OK : S_FALSE;
}

bool Pin::PreferredType(unsigned, ymdshow::MediaType&) {
    return false;
}

HRESULT STDMETHODCALLTYPE Pin::EnumMediaTypes(IEnumMediaTypes** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = new TypeEnumerator(*this, 0);
    return S_OK;
}

// Every input of these filters is connected to every output.
HRESULT STDMETHODCALLTYPE Pin::QueryInternalConnections(IPin**, ULONG*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE Pin::Notify(IBaseFilter*, Quality) {
    return S_OK;
}
HRESULT STDMETHODCALLTYPE Pin::SetSink(IQualityControl*) {
    return S_OK;
}

} // namespace ymfilters
