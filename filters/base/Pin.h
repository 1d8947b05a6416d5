#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <atomic>
#include <mutex>
#include <string>

#include "BaseClasses/MediaType.h"
#include "base/Filter.h"

namespace ymfilters {

/// A copy in memory that the caller frees with CoTaskMemFree; null when there is none.
LPWSTR CopyText(const std::wstring& text);

/// What input and output pins share: identity, connection, media type. Its reference
/// count is its filter's. Quality messages are accepted and have no effect.
class Pin : public IPin, public IQualityControl {
public:
    Pin(Filter& filter, PIN_DIRECTION direction, std::wstring name);
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    virtual ~Pin() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE Disconnect() override;
    HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** out) override;
    HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override;
    HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* direction) override;
    HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** out) override;
    HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin** pins, ULONG* count) override;

    HRESULT STDMETHODCALLTYPE Notify(IBaseFilter* self, Quality quality) override;
    HRESULT STDMETHODCALLTYPE SetSink(IQualityControl* sink) override;

    const std::wstring& Name() const { return m_name; }
    bool IsConnected() const { return m_isConnected; }

    /// The type of the connection; empty without one.
    const AM_MEDIA_TYPE& Type() const { return m_type.Get(); }

    /// The pin's types, the best first; false past the last.
    virtual bool PreferredType(unsigned index, ymdshow::MediaType& type);

    /// Called under the filter's lock when the filter leaves and enters the stopped state;
    /// the latter also without the former.
    virtual HRESULT Activate() = 0;
    virtual void Deactivate() = 0;

protected:
    virtual void* Interface(REFIID iid);
    virtual HRESULT CheckType(const AM_MEDIA_TYPE& type) = 0;
    virtual void OnDisconnect() {}

    /// Brings the pin to rest before it is disconnected while its filter is active.
    virtual void OnLiveDisconnect() { Deactivate(); }

    /// A pin that can be connected and disconnected while its filter is active.
    virtual bool IsLiveConnectable() const { return false; }

    /// S_OK when the pin may be connected now.
    HRESULT CheckConnectable() const;
    HRESULT SetConnection(IPin* peer, const AM_MEDIA_TYPE& type);
    void ClearConnection();
    IPin* Peer() const { return m_peer.Get(); }
    HRESULT SetType(const AM_MEDIA_TYPE& type);
    Filter& Owner() const { return m_filter; }

private:
    Filter& m_filter;
    const PIN_DIRECTION m_direction;
    const std::wstring m_name;
    std::mutex m_connectionMutex; // held for a moment only: a streaming thread may ask
    Microsoft::WRL::ComPtr<IPin> m_peer;
    ymdshow::MediaType m_type;
    std::atomic<bool> m_isConnected{false};
};

} // namespace ymfilters
