#include "base/OutputPin.h"

#include <algorithm>

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

bool IsComplete(const AM_MEDIA_TYPE& type) {
    return type.majortype != GUID_NULL && type.formattype != GUID_NULL;
}

bool Matches(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& wanted) {
    const auto fits = [](const GUID& want, const GUID& have) {
        return want == GUID_NULL || want == have;
    };
    return fits(wanted.majortype, type.majortype) && fits(wanted.subtype, type.subtype) &&
           fits(wanted.formattype, type.formattype);
}

} // namespace

HRESULT STDMETHODCALLTYPE OutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* type) {
    if (peer == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard lock(Owner().Lock());
    HRESULT hr = CheckConnectable();
    if (FAILED(hr)) {
        return hr;
    }
    PIN_DIRECTION direction = PINDIR_OUTPUT;
    if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_INPUT) {
        return VFW_E_INVALID_DIRECTION;
    }
    if (type != nullptr && IsComplete(*type)) {
        hr = TryType(*peer, *type);
    } else {
        hr = TryTypesOf(*this, *peer, type);
        if (FAILED(hr)) {
            hr = TryTypesOf(*peer, *peer, type);
        }
    }
    if (SUCCEEDED(hr) && Owner().State() != State_Stopped) {
        hr = Activate();
    }
    return hr;
}

HRESULT OutputPin::TryTypesOf(IPin& source, IPin& peer, const AM_MEDIA_TYPE* wanted) {
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(source.EnumMediaTypes(&types)) || types == nullptr) {
        return VFW_E_NO_ACCEPTABLE_TYPES;
    }
    ymdshow::OwnedMediaType type;
    while (types->Next(1, type.Put(), nullptr) == S_OK) {
        if ((wanted == nullptr || Matches(*type, *wanted)) && SUCCEEDED(TryType(peer, *type))) {
            return S_OK;
        }
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT OutputPin::TryType(IPin& peer, const AM_MEDIA_TYPE& type) {
    if (CheckType(type) != S_OK) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    HRESULT hr = SetConnection(&peer, type);
    if (FAILED(hr)) {
        return hr;
    }
    hr = peer.ReceiveConnection(this, &type);
    if (SUCCEEDED(hr)) {
        hr = ChooseAllocator(peer);
        if (FAILED(hr)) {
            peer.Disconnect();
        }
    }
    if (FAILED(hr)) {
        ClearConnection();
    }
    return hr;
}

HRESULT OutputPin::ChooseAllocator(IPin& peer) {
    HRESULT hr = peer.QueryInterface(IID_PPV_ARGS(&m_transport));
    if (FAILED(hr)) {
        return VFW_E_NO_TRANSPORT;
    }
    ALLOCATOR_PROPERTIES needs = BufferNeeds();
    ALLOCATOR_PROPERTIES wishes{};
    if (SUCCEEDED(m_transport->GetAllocatorRequirements(&wishes))) {
        needs.cBuffers = std::max(needs.cBuffers, wishes.cBuffers);
        needs.cbBuffer = std::max(needs.cbBuffer, wishes.cbBuffer);
        needs.cbAlign = std::max(needs.cbAlign, wishes.cbAlign);
        needs.cbPrefix = std::max(needs.cbPrefix, wishes.cbPrefix);
    }
    ComPtr<IMemAllocator> allocator = OwnAllocator();
    if (allocator != nullptr && SUCCEEDED(UseAllocator(*allocator.Get(), needs, true))) {
        return S_OK;
    }
    if (SUCCEEDED(m_transport->GetAllocator(allocator.ReleaseAndGetAddressOf())) &&
        SUCCEEDED(UseAllocator(*allocator.Get(), needs, false))) {
        return S_OK;
    }
    hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                          IID_PPV_ARGS(allocator.ReleaseAndGetAddressOf()));
    return FAILED(hr) ? hr : UseAllocator(*allocator.Get(), needs, false);
}

HRESULT OutputPin::UseAllocator(IMemAllocator& allocator, ALLOCATOR_PROPERTIES needs, bool isOwn) {
    ALLOCATOR_PROPERTIES actual{};
    HRESULT hr = allocator.SetProperties(&needs, &actual);
    if (FAILED(hr)) {
        return hr;
    }
    if (actual.cbBuffer < needs.cbBuffer || actual.cBuffers < 1) {
        return VFW_E_SIZENOTSET;
    }
    hr = m_transport->NotifyAllocator(&allocator, isOwn ? TRUE : FALSE);
    if (SUCCEEDED(hr)) {
        m_allocator = &allocator;
        m_usesOwnAllocator = isOwn;
    }
    return hr;
}

void OutputPin::OnDisconnect() {
    OutputPin::Deactivate();
    ComPtr<IMemInputPin> transport; // released without the mutex
    ComPtr<IMemAllocator> allocator;
    const std::lock_guard lock(m_transportMutex);
    m_transport.Swap(transport);
    m_allocator.Swap(allocator);
}

HRESULT STDMETHODCALLTYPE OutputPin::ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) {
    return E_UNEXPECTED;
}

HRESULT STDMETHODCALLTYPE OutputPin::EndOfStream() {
    return E_UNEXPECTED;
}
HRESULT STDMETHODCALLTYPE OutputPin::BeginFlush() {
    return E_UNEXPECTED;
}
HRESULT STDMETHODCALLTYPE OutputPin::EndFlush() {
    return E_UNEXPECTED;
}
HRESULT STDMETHODCALLTYPE OutputPin::NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) {
    return E_UNEXPECTED;
}

ComPtr<IMemInputPin> OutputPin::Transport() {
    const std::lock_guard lock(m_transportMutex);
    return m_transport;
}

ComPtr<IMemAllocator> OutputPin::Allocator() {
    const std::lock_guard lock(m_transportMutex);
    return m_allocator;
}

HRESULT OutputPin::Activate() {
    const ComPtr<IMemAllocator> allocator = Allocator();
    return allocator != nullptr ? allocator->Commit() : VFW_E_NO_ALLOCATOR;
}

void OutputPin::Deactivate() {
    if (const ComPtr<IMemAllocator> allocator = Allocator(); allocator != nullptr) {
        allocator->Decommit();
    }
}

HRESULT OutputPin::GetBuffer(IMediaSample** sample) {
    *sample = nullptr;
    const ComPtr<IMemAllocator> allocator = Allocator();
    return allocator != nullptr ? allocator->GetBuffer(sample, nullptr, nullptr, 0)
                                : VFW_E_NO_ALLOCATOR;
}

HRESULT OutputPin::Deliver(IMediaSample& sample) {
    const ComPtr<IMemInputPin> transport = Transport();
    return transport != nullptr ? transport->Receive(&sample) : S_OK;
}

template <class Call> HRESULT OutputPin::Tell(Call call) {
    ComPtr<IPin> peer;
    return SUCCEEDED(ConnectedTo(&peer)) ? call(*peer.Get()) : S_OK;
}

HRESULT OutputPin::DeliverEndOfStream() {
    return Tell([](IPin& peer) { return peer.EndOfStream(); });
}
HRESULT OutputPin::DeliverBeginFlush() {
    return Tell([](IPin& peer) { return peer.BeginFlush(); });
}
HRESULT OutputPin::DeliverEndFlush() {
    return Tell([](IPin& peer) { return peer.EndFlush(); });
}

HRESULT OutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    return Tell([=](IPin& peer) { return peer.NewSegment(start, stop, rate); });
}

} // namespace ymfilters
