#pragma once

#include <windows.h>

#include <dshow.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "BaseClasses/ServerCounts.h"

namespace ymfilters {

class Pin;

/// What every filter of the project shares: reference count, state, clock, graph, pins.
///
/// Pins are parts of their filter and live as long as it does; a reference on a pin is a
/// reference on the filter. State changes and connections are serialised by Lock(), which
/// no streaming thread may wait for.
class Filter : public IBaseFilter {
public:
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;

    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD timeout, FILTER_STATE* state) override;
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;
    HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) override;

    HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** out) override;
    HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** out) override;
    HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* info) override;

    std::recursive_mutex& Lock() { return m_lock; }
    FILTER_STATE State() const { return m_state; }

    /// The pins now; the version changes with the list.
    std::vector<Pin*> Pins() const;
    unsigned PinVersion() const;

    /// Sends an event to the graph, if the filter is in one.
    void Notify(long code, LONG_PTR first, LONG_PTR second);

    /// The time that has run since the graph's last start, pauses left out.
    REFERENCE_TIME StreamTime();

    /// A seek starts it anew, at the latest with the next Run.
    void ResetStreamTime() { m_elapsed = 0; }

protected:
    explicit Filter(const CLSID& clsid) : m_clsid(clsid) {}
    virtual ~Filter();

    /// The interface `iid` of this object without a reference, or null.
    virtual void* Interface(REFIID iid);

    /// Called under Lock(), before the state changes. Activation goes over the pins; a
    /// failure undoes it.
    virtual HRESULT OnActivate();
    virtual void OnDeactivate();
    virtual HRESULT OnRun() { return S_OK; }
    virtual HRESULT OnPause() { return S_OK; }

    /// Whether the state that Pause or Run began has been reached; waits at most `timeout`.
    virtual bool IsStateReached(DWORD timeout);

    void SetPins(std::vector<Pin*> pins);

    IReferenceClock* Clock() const { return m_clock; }
    REFERENCE_TIME StartTime() const { return m_start; }

private:
    const CLSID m_clsid;
    const ymdshow::ServerObject m_serverObject;
    std::atomic<ULONG> m_references{1};
    mutable std::recursive_mutex m_lock;
    std::atomic<FILTER_STATE> m_state{State_Stopped};
    IReferenceClock* m_clock = nullptr; // counted
    std::mutex m_graphMutex;            // a streaming thread may notify while the graph goes
    IFilterGraph* m_graph = nullptr;    // not counted: the graph holds the filter
    std::wstring m_name;
    std::atomic<REFERENCE_TIME> m_start{0};
    std::atomic<REFERENCE_TIME> m_elapsed{0}; // stream time when the graph was last paused
    mutable std::mutex m_pinsMutex;
    std::vector<Pin*> m_pins;
    unsigned m_pinVersion = 0;
};

/// A class table's creation function: makes a `T` and answers its interface `iid`.
template <class T> HRESULT Create(IUnknown*, REFIID iid, void** out) {
    T* const object = new T();
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
}

} // namespace ymfilters
