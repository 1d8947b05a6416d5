#pragma once

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "base/OutputPin.h"
#include "testsource/Clip.h"

namespace ymfilters {

/// What plays: media time from start to stop at a rate.
struct Segment {
    LONGLONG start = 0;
    LONGLONG stop = 0;
    double rate = 1;
};

/// The segment that was set last on any pin of a filter. A pin that starts takes it over,
/// so that a pin connected later plays what the others play.
class SharedSegment {
public:
    Segment Get() const {
        const std::lock_guard lock(m_mutex);
        return m_segment;
    }
    void Set(const Segment& segment) {
        const std::lock_guard lock(m_mutex);
        m_segment = segment;
    }

private:
    mutable std::mutex m_mutex;
    Segment m_segment;
};

/// An output pin of the test source: a thread of its own delivers the stream's units
/// (pictures, blocks of sound), and IMediaSeeking moves it. Each pin seeks for itself:
/// the graph manager hands a seek to every renderer, and so to every pin once.
class SourceStream : public OutputPin, public IMediaSeeking {
public:
    SourceStream(Filter& filter, std::wstring name, const Clip& clip, SharedSegment& shared);
    ~SourceStream() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat,
                                                LONGLONG source, const GUID* sourceFormat) override;
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                           DWORD stopFlags) override;
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

    HRESULT Activate() override;
    void Deactivate() override;

protected:
    /// One sample's worth of the stream, in media time.
    struct Unit {
        LONGLONG start;
        LONGLONG stop;
        LONGLONG first; ///< media time of the sample, in frames or samples of sound
        LONGLONG last;
    };

    /// Number of the unit that a time falls in, and the time where a unit starts.
    virtual LONGLONG UnitAt(LONGLONG time) const = 0;
    virtual LONGLONG UnitTime(LONGLONG unit) const = 0;

    /// Writes the units from `next` on that start before `stop`, as many as one sample takes
    /// (at least one), and moves `next` behind them.
    virtual HRESULT Fill(IMediaSample& sample, LONGLONG& next, LONGLONG stop) = 0;

    void* Interface(REFIID iid) override;
    bool IsLiveConnectable() const override { return m_clip.isLiveConnectable; }
    void OnLiveDisconnect() override;

    const Clip m_clip;

private:
    void Seek(const Segment& segment);
    void Work();
    void Play(Segment segment, LONGLONG from);
    HRESULT PlayUnits(const Segment& segment, LONGLONG from);
    HRESULT PlayUnit(const Segment& segment, LONGLONG& next, bool isFirst);
    bool Sleep(DWORD milliseconds);
    double OwnRate();
    void Interrupt();
    void WaitUntilParked();
    void StartRun(LONGLONG from);

    SharedSegment& m_shared;
    std::mutex m_seekMutex; // a seek, a start or a stop of the thread at a time
    std::thread m_thread;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_isExiting = false;
    bool m_isRunWanted = false;
    bool m_isParked = false;
    Segment m_segment;
    LONGLONG m_from = 0; // where the next run begins, in the segment or after its start

    std::atomic<bool> m_isInterrupted{false};
    std::atomic<LONGLONG> m_position{0}; // start of the next unit
    std::atomic<LONGLONG> m_stop{0};     // of the segment; moves while it plays
};

} // namespace ymfilters
