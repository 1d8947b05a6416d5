#pragma once

#include <atomic>
#include <mutex>

#include "base/Pin.h"

namespace ymfilters {

/// An input that takes samples through the memory transport. Derived pins say what they
/// do with a sample, a segment, a flush and the end of the stream.
class InputPin : public Pin, public IMemInputPin {
public:
    InputPin(Filter& filter, std::wstring name) : Pin(filter, PINDIR_INPUT, std::move(name)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Pin::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Pin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Pin::Release(); }

    HRESULT STDMETHODCALLTYPE Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                         double rate) override;

    HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** out) override;
    HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL isReadOnly) override;
    HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* request) override;
    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, long count,
                                              long* done) override;
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

    HRESULT Activate() override;
    void Deactivate() override;

    /// The upstream pin's IMediaSeeking, with a reference; null without one.
    HRESULT UpstreamSeeking(IMediaSeeking** out);

    bool IsFlushing() const { return m_isFlushing; }
    bool IsActive() const { return m_isActive; }

protected:
    void* Interface(REFIID iid) override;
    void OnDisconnect() override;

    virtual HRESULT OnConnected() { return S_OK; }
    virtual HRESULT OnSample(IMediaSample& sample) = 0;
    virtual HRESULT OnEndOfStream() = 0;
    virtual HRESULT OnBeginFlush() = 0;
    virtual HRESULT OnEndFlush() = 0;
    virtual HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;

private:
    HRESULT CheckStreaming() const;
    HRESULT TakeNewType(IMediaSample& sample);

    Microsoft::WRL::ComPtr<IMemAllocator> m_allocator;
    std::atomic<bool> m_isActive{false};
    std::atomic<bool> m_isFlushing{false};
    std::atomic<bool> m_hasEnded{false};
};

} // namespace ymfilters
