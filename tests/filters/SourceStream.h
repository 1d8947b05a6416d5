#pragma once

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Clip.h"
#include "base/OutputPin.h"

namespace ymfilters {

/// What plays, in media time: the last seek on any pin of a filter. A pin that starts takes
/// it over, so that one connected later plays what the others play.
struct Segment {
    std::atomic<LONGLONG> start{0};
    std::atomic<LONGLONG> stop{0};
};

/// An output pin of the test source: a thread of its own delivers the stream's units
/// (pictures, samples of sound), and IMediaSeeking moves it, in media time alone. Each pin
/// seeks for itself: the graph manager hands a seek to every renderer, and so to every pin.
class SourceStream final : public OutputPin, public IMediaSeeking {
public:
    /// Without tones the pictures of the clip, else the tones that are enabled, mixed.
    SourceStream(Filter& filter, std::wstring name, const Clip& clip, Segment& segment,
                 std::vector<int> tones = {});

    /// One bit a tone; all are enabled at first. Heard from the next block on.
    std::atomic<unsigned> enabled{~0U};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return OutputPin::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return OutputPin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return OutputPin::Release(); }

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override {
        *capabilities = kCapabilities;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override {
        return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override {
        *format = TIME_FORMAT_MEDIA_TIME;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override {
        return QueryPreferredFormat(format);
    }
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override {
        return IsFormatSupported(format) == S_OK ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override {
        *duration = m_clip.duration;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override {
        *stop = m_segment.stop;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override {
        *current = m_position;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                           DWORD stopFlags) override;

    // What nobody here asks for.
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG,
                                                const GUID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRate(double) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRate(double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

    HRESULT Activate() override;
    void Deactivate() override;
    bool PreferredType(unsigned index, ymdshow::MediaType& type) override;

protected:
    void* Interface(REFIID iid) override {
        return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(this)
                                        : OutputPin::Interface(iid);
    }
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES BufferNeeds() const override;
    bool IsLiveConnectable() const override { return m_clip.isLiveConnectable != 0; }
    void OnLiveDisconnect() override;

private:
    static constexpr DWORD kCapabilities =
        AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanGetCurrentPos | AM_SEEKING_CanGetStopPos |
        AM_SEEKING_CanGetDuration | AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards;

    bool IsVideo() const { return m_tones.empty(); }
    LONGLONG UnitRate() const { return IsVideo() ? m_clip.frameRate : m_clip.samplingRate; }
    LONGLONG UnitAt(LONGLONG time) const { return time * UnitRate() / kSecond; }
    LONGLONG UnitTime(LONGLONG unit) const {
        return (unit * kSecond + UnitRate() - 1) / UnitRate();
    }
    LONGLONG UnitsInASample() const { return IsVideo() ? 1 : m_clip.samplingRate / 20; }

    /// The thread's: it plays what is wanted and parks.
    enum class State { Parked, Wanted, Playing };
    void Await(State state, State next);
    void Seek(LONGLONG start, LONGLONG stop);
    void Start(LONGLONG from);
    void Work();
    void Play(LONGLONG start, LONGLONG stop, LONGLONG next);
    HRESULT PlaySample(LONGLONG origin, LONGLONG end, LONGLONG& next, bool isFirst);
    long FillSound(std::int16_t* out, LONGLONG first, LONGLONG count) const;

    const Clip m_clip;
    const std::vector<int> m_tones;
    Segment& m_segment;
    std::mutex m_seekMutex; // a seek, a start or a stop of the thread at a time
    std::thread m_thread;
    std::mutex m_mutex; // guards the state
    std::condition_variable m_changed;
    State m_state = State::Parked;
    bool m_isExiting = false; // what is wanted is the thread's end
    std::atomic<bool> m_isInterrupted{false};
    std::atomic<LONGLONG> m_position{0}; // start of the next unit
};

} // namespace ymfilters
