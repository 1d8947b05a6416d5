#include "base/InputPin.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

void* InputPin::Interface(REFIID iid) {
    return iid == IID_IMemInputPin ? static_cast<IMemInputPin*>(this) : Pin::Interface(iid);
}

HRESULT STDMETHODCALLTYPE InputPin::Connect(IPin*, const AM_MEDIA_TYPE*) {
    return E_UNEXPECTED;
}

HRESULT STDMETHODCALLTYPE InputPin::ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) {
    if (peer == nullptr || type == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Owner().Lock());
    HRESULT hr = CheckConnectable();
    if (FAILED(hr)) {
        return hr;
    }
    PIN_DIRECTION direction = PINDIR_INPUT;
    if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_OUTPUT) {
        return VFW_E_INVALID_DIRECTION;
    }
    if (CheckType(*type) != S_OK) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    hr = SetConnection(peer, *type);
    if (SUCCEEDED(hr)) {
        hr = OnConnected();
    }
    // The allocator comes only after this call, so a live pin is active without it.
    if (SUCCEEDED(hr) && Owner().State() != State_Stopped) {
        hr = Activate();
    }
    if (FAILED(hr)) {
        ClearConnection();
    }
    return hr;
}

void InputPin::OnDisconnect() {
    m_allocator.Reset();
}

HRESULT InputPin::Activate() {
    m_isFlushing = false;
    m_hasEnded = false;
    m_isActive = true;
    return S_OK;
}

void InputPin::Deactivate() {
    m_isActive = false;
    if (m_allocator != nullptr) {
        m_allocator->Decommit();
    }
}

HRESULT InputPin::UpstreamSeeking(IMediaSeeking** out) {
    *out = nullptr;
    ComPtr<IPin> peer;
    const HRESULT hr = ConnectedTo(&peer);
    return FAILED(hr) ? hr : peer->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(out));
}

HRESULT InputPin::CheckStreaming() const {
    if (!IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    if (!m_isActive) {
        return VFW_E_WRONG_STATE;
    }
    return m_isFlushing ? S_FALSE : S_OK;
}

HRESULT STDMETHODCALLTYPE InputPin::EndOfStream() {
    const HRESULT hr = CheckStreaming();
    if (hr != S_OK) {
        return hr;
    }
    m_hasEnded = true;
    return OnEndOfStream();
}

HRESULT STDMETHODCALLTYPE InputPin::BeginFlush() {
    m_isFlushing = true;
    return OnBeginFlush();
}

HRESULT STDMETHODCALLTYPE InputPin::EndFlush() {
    m_hasEnded = false;
    const HRESULT hr = OnEndFlush();
    m_isFlushing = false;
    return hr;
}

HRESULT STDMETHODCALLTYPE InputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                               double rate) {
    return OnNewSegment(start, stop, rate);
}

HRESULT STDMETHODCALLTYPE InputPin::GetAllocator(IMemAllocator** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Owner().Lock());
    *out = nullptr;
    if (m_allocator == nullptr) {
        const HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                            IID_PPV_ARGS(&m_allocator));
        if (FAILED(hr)) {
            return hr;
        }
    }
    return m_allocator.CopyTo(out);
}

HRESULT STDMETHODCALLTYPE InputPin::NotifyAllocator(IMemAllocator* allocator, BOOL) {
    if (allocator == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Owner().Lock());
    m_allocator = allocator;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE InputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
    return E_NOTIMPL;
}

HRESULT InputPin::TakeNewType(IMediaSample& sample) {
    ymdshow::OwnedMediaType type;
    if (sample.GetMediaType(type.Put()) != S_OK || type.Get() == nullptr) {
        return S_OK;
    }
    return CheckType(*type) == S_OK ? SetType(*type) : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT STDMETHODCALLTYPE InputPin::Receive(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_POINTER;
    }
    HRESULT hr = CheckStreaming();
    if (hr != S_OK) {
        return hr;
    }
    if (m_hasEnded) {
        return VFW_E_SAMPLE_REJECTED_EOS;
    }
    hr = TakeNewType(*sample);
    return FAILED(hr) ? hr : OnSample(*sample);
}

HRESULT STDMETHODCALLTYPE InputPin::ReceiveMultiple(IMediaSample** samples, long count,
                                                    long* done) {
    if (samples == nullptr || done == nullptr) {
        return E_POINTER;
    }
    HRESULT hr = S_OK;
    for (*done = 0; *done < count && hr == S_OK; ++*done) {
        hr = Receive(samples[*done]);
        if (hr != S_OK) {
            break;
        }
    }
    return hr;
}

HRESULT STDMETHODCALLTYPE InputPin::ReceiveCanBlock() {
    return S_OK;
}

} // namespace ymfilters
