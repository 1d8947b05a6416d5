#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "base/InputPin.h"
#include "base/SeekingPassThrough.h"
#include "testrenderer/RecordLog.h"

namespace ymfilters {

class TestRenderer;

/// The renderer's input; what happens on it is the renderer's business.
class RendererPin final : public InputPin {
public:
    explicit RendererPin(TestRenderer& renderer);

    HRESULT Activate() override;
    void Deactivate() override;

protected:
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    bool IsLiveConnectable() const override;
    void OnLiveDisconnect() override;
    HRESULT OnSample(IMediaSample& sample) override;
    HRESULT OnEndOfStream() override;
    HRESULT OnBeginFlush() override;
    HRESULT OnEndFlush() override;
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    TestRenderer& m_renderer;
};

/// Renders into a list of records. Holds the first sample while paused, takes samples at
/// their times while running, and tells the graph when its stream is complete. A sample is
/// on record once it is shown: at its time, or while paused when it arrives.
class TestRenderer final : public Filter, public ITestRecorder, public IAMFilterMiscFlags {
public:
    /// `majorType` is the one that the input takes; GUID_NULL stands for video and audio.
    TestRenderer(const CLSID& clsid, const GUID& majorType);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetRecords(ULONG first, ULONG count, TestRecord* records,
                                         ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Clear() override;
    HRESULT STDMETHODCALLTYPE WaitFor(LONG kind, ULONG count, DWORD milliseconds) override;
    HRESULT STDMETHODCALLTYPE SetSync(BOOL isOn) override;
    HRESULT STDMETHODCALLTYPE SetLiveConnect(BOOL isOn) override;
    HRESULT STDMETHODCALLTYPE SetBroken(BOOL isOn) override;

    ULONG STDMETHODCALLTYPE GetMiscFlags() override;

    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;

protected:
    void* Interface(REFIID iid) override;
    HRESULT OnActivate() override;
    HRESULT OnPause() override;
    HRESULT OnRun() override;
    bool IsStateReached(DWORD timeout) override;

private:
    friend class RendererPin;
    ~TestRenderer() override;

    // What the pin reports.
    void BeginStream();
    void EndStream();
    void LoseStream();
    HRESULT Render(IMediaSample& sample);
    HRESULT TakeEndOfStream();
    void BeginFlush();
    void EndFlush();
    void TakeSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

    void Append(TestRecord record); // under m_mutex

    /// What a wait for a stream time ended with.
    enum class Wait { Due, Paused, Cancelled };
    Wait WaitUntil(REFERENCE_TIME time, unsigned epoch, std::unique_lock<std::mutex>& lock);
    void SleepUntil(HANDLE alsoOn, std::unique_lock<std::mutex>& lock);
    void SendComplete();

    const GUID m_majorType;
    RendererPin m_pin;
    SeekingPassThrough m_seeking;
    const HANDLE m_wake; // the streaming thread looks again
    const HANDLE m_due;  // a time that it waits for has come

    RecordLog m_log;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    Microsoft::WRL::ComPtr<IReferenceClock> m_clock;
    REFERENCE_TIME m_base = 0; // clock time of stream time 0
    bool m_isStreaming = false;
    bool m_isRunning = false;
    bool m_isHolding = false;      // a sample is being shown
    bool m_isReady = true;         // the state that was asked for is reached
    bool m_hasEnded = false;       // the stream's end has arrived
    bool m_isCompleteSent = false; // and has been reported for this run
    unsigned m_epoch = 0;          // a flush or a stop ends it
    REFERENCE_TIME m_end = 0;      // stream time at which the last sample ends
    REFERENCE_TIME m_segmentStart = 0;
    double m_segmentRate = 1;

    std::atomic<bool> m_isSynchronised{true};
    std::atomic<bool> m_isLiveConnectable{false};
    std::atomic<bool> m_isBroken{false};
};

} // namespace ymfilters
