#include "base/Filter.h"

#include <wrl/client.h>

#include <algorithm>
#include <cwchar>
#include <utility>

#include "base/Enumerators.h"
#include "base/Pin.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

Filter::~Filter() {
    if (m_clock != nullptr) {
        m_clock->Release();
    }
}

HRESULT STDMETHODCALLTYPE Filter::QueryInterface(REFIID iid, void** out) {
    return ymdshow::AnswerQuery(*this, Interface(iid), out);
}

ULONG STDMETHODCALLTYPE Filter::AddRef() {
    return ++m_references;
}

ULONG STDMETHODCALLTYPE Filter::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        // Teardown may hand references out and take them back.
        m_references = 1;
        if (m_state != State_Stopped) {
            Stop();
        }
        delete this;
    }
    return left;
}

void* Filter::Interface(REFIID iid) {
    if (iid == IID_IUnknown || iid == IID_IPersist || iid == IID_IMediaFilter ||
        iid == IID_IBaseFilter) {
        return static_cast<IBaseFilter*>(this);
    }
    return nullptr;
}

HRESULT STDMETHODCALLTYPE Filter::GetClassID(CLSID* clsid) {
    if (clsid == nullptr) {
        return E_POINTER;
    }
    *clsid = m_clsid;
    return S_OK;
}

HRESULT Filter::OnActivate() {
    for (Pin* pin : Pins()) {
        if (!pin->IsConnected()) {
            continue;
        }
        const HRESULT hr = pin->Activate();
        if (FAILED(hr)) {
            return hr;
        }
    }
    return S_OK;
}

void Filter::OnDeactivate() {
    for (Pin* pin : Pins()) {
        pin->Deactivate();
    }
}

bool Filter::IsStateReached(DWORD) {
    return true;
}

HRESULT STDMETHODCALLTYPE Filter::Stop() {
    const std::lock_guard lock(m_lock);
    if (m_state != State_Stopped) {
        OnDeactivate();
        m_state = State_Stopped;
        m_elapsed = 0;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Filter::Pause() {
    const std::lock_guard lock(m_lock);
    if (m_state == State_Stopped) {
        const HRESULT hr = OnActivate();
        if (FAILED(hr)) {
            OnDeactivate();
            return hr;
        }
    } else if (m_state == State_Running) {
        m_elapsed = StreamTime();
    }
    m_state = State_Paused;
    const HRESULT hr = OnPause();
    if (FAILED(hr)) {
        return hr;
    }
    return IsStateReached(0) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE Filter::Run(REFERENCE_TIME start) {
    const std::lock_guard lock(m_lock);
    if (m_state == State_Stopped) {
        const HRESULT hr = Pause();
        if (FAILED(hr)) {
            return hr;
        }
    }
    m_start = start;
    m_state = State_Running;
    return OnRun();
}

HRESULT STDMETHODCALLTYPE Filter::GetState(DWORD timeout, FILTER_STATE* state) {
    if (state == nullptr) {
        return E_POINTER;
    }
    // Waits without the lock: what it waits for may need a state change.
    const bool isReached = IsStateReached(timeout);
    *state = m_state;
    return isReached ? S_OK : VFW_S_STATE_INTERMEDIATE;
}

HRESULT STDMETHODCALLTYPE Filter::SetSyncSource(IReferenceClock* clock) {
    const std::lock_guard lock(m_lock);
    if (clock != nullptr) {
        clock->AddRef();
    }
    if (IReferenceClock* const old = std::exchange(m_clock, clock); old != nullptr) {
        old->Release();
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Filter::GetSyncSource(IReferenceClock** clock) {
    if (clock == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(m_lock);
    *clock = m_clock;
    if (m_clock != nullptr) {
        m_clock->AddRef();
    }
    return S_OK;
}

REFERENCE_TIME Filter::StreamTime() {
    ComPtr<IReferenceClock> clock; // asked without the lock: it is another filter
    {
        const std::lock_guard lock(m_lock);
        if (m_state == State_Running) {
            clock = m_clock;
        }
    }
    REFERENCE_TIME now = 0;
    if (clock == nullptr || FAILED(clock->GetTime(&now))) {
        return m_elapsed;
    }
    return std::max<REFERENCE_TIME>(now - m_start, 0);
}

HRESULT STDMETHODCALLTYPE Filter::EnumPins(IEnumPins** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = new PinEnumerator(*this);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Filter::FindPin(LPCWSTR id, IPin** out) {
    if (id == nullptr || out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    for (Pin* pin : Pins()) {
        if (pin->Name() == id) {
            *out = pin;
            pin->AddRef();
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

HRESULT STDMETHODCALLTYPE Filter::QueryFilterInfo(FILTER_INFO* info) {
    if (info == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(m_graphMutex);
    constexpr std::size_t kCapacity = std::size(FILTER_INFO{}.achName);
    const std::size_t length = std::min(m_name.size(), kCapacity - 1);
    std::wmemcpy(info->achName, m_name.c_str(), length);
    info->achName[length] = L'\0';
    info->pGraph = m_graph;
    if (m_graph != nullptr) {
        m_graph->AddRef();
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Filter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    const std::lock_guard lock(m_graphMutex);
    m_graph = graph;
    m_name = graph != nullptr && name != nullptr ? name : L"";
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Filter::QueryVendorInfo(LPWSTR*) {
    return E_NOTIMPL;
}

void Filter::Notify(long code, LONG_PTR first, LONG_PTR second) {
    ComPtr<IMediaEventSink> sink;
    {
        const std::lock_guard lock(m_graphMutex);
        if (m_graph == nullptr || FAILED(m_graph->QueryInterface(IID_PPV_ARGS(&sink)))) {
            return;
        }
    }
    sink->Notify(code, first, second);
}

std::vector<Pin*> Filter::Pins() const {
    const std::lock_guard lock(m_pinsMutex);
    return m_pins;
}

unsigned Filter::PinVersion() const {
    const std::lock_guard lock(m_pinsMutex);
    return m_pinVersion;
}

void Filter::SetPins(std::vector<Pin*> pins) {
    const std::lock_guard lock(m_pinsMutex);
    m_pins = std::move(pins);
    ++m_pinVersion;
}

} // namespace ymfilters
