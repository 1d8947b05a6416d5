#pragma once

#include <windows.h>

#include <mutex>

#include "base/Pin.h"

namespace ymfilters {

/// An output that delivers samples through the memory transport.
class OutputPin : public Pin {
public:
    OutputPin(Filter& filter, std::wstring name) : Pin(filter, PINDIR_OUTPUT, std::move(name)) {}

    HRESULT STDMETHODCALLTYPE Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;

    /// Commits and decommits the allocator.
    HRESULT Activate() override;
    void Deactivate() override;

    /// What goes downstream; S_OK without a connection. A sample that is answered with
    /// anything but S_OK ends the delivery.
    HRESULT GetBuffer(IMediaSample** sample);
    HRESULT Deliver(IMediaSample& sample);
    HRESULT DeliverEndOfStream();
    HRESULT DeliverBeginFlush();
    HRESULT DeliverEndFlush();
    HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

protected:
    void OnDisconnect() override;

    /// What the pin needs for the connection's type.
    virtual ALLOCATOR_PROPERTIES BufferNeeds() const = 0;

    /// An allocator of the pin's own, which is offered first: its samples are read-only, for the
    /// filter keeps what is in them. None by default.
    virtual Microsoft::WRL::ComPtr<IMemAllocator> OwnAllocator() { return nullptr; }

    /// The connection uses OwnAllocator's.
    bool UsesOwnAllocator() const { return m_usesOwnAllocator; }

private:
    HRESULT TryType(IPin& peer, const AM_MEDIA_TYPE& type);
    HRESULT TryTypesOf(IPin& source, IPin& peer, const AM_MEDIA_TYPE* wanted);
    HRESULT ChooseAllocator(IPin& peer);
    HRESULT UseAllocator(IMemAllocator& allocator, ALLOCATOR_PROPERTIES needs, bool isOwn);

    Microsoft::WRL::ComPtr<IMemInputPin> Transport();
    Microsoft::WRL::ComPtr<IMemAllocator> Allocator();
    template <class Call> HRESULT Tell(Call call);

    // A transform's thread is another filter's: it may deliver while the pin is disconnected.
    std::mutex m_transportMutex; // held for a moment only
    Microsoft::WRL::ComPtr<IMemInputPin> m_transport;
    Microsoft::WRL::ComPtr<IMemAllocator> m_allocator;
    bool m_usesOwnAllocator = false;
};

} // namespace ymfilters
