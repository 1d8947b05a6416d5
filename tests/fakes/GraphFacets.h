#pragma once

#include <windows.h>

#include <dshow.h>

#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "fakes/FakeObject.h"

namespace fakes {

/// IGraphConfig: journal name "config".
class ConfigFacet final : public Facet<IGraphConfig, IID_IGraphConfig> {
public:
    using Facet::Facet;

    /// What RemoveFilterFromCache does to the filter's count: 0 leaves the cache's reference
    /// to the caller, as DirectShow does; -1 releases it, n adds n more.
    int removeRefDelta = 0;

    /// The cache's calls answer E_NOTIMPL from now on.
    void RefuseCache();

    const std::vector<IBaseFilter*>& Cached() const { return m_cache; }
    bool IsCached(IBaseFilter* filter) const;
    /// Takes the filter out of the cache with the cache's reference; null when not cached.
    ComPtr<IBaseFilter> Withdraw(IBaseFilter* filter);

    STDMETHODIMP AddFilterToCache(IBaseFilter* filter) override;
    STDMETHODIMP EnumCacheFilter(IEnumFilters** out) override;
    STDMETHODIMP RemoveFilterFromCache(IBaseFilter* filter) override;
    FAKE_UNEXPECTED(Reconnect, IPin*, IPin*, const AM_MEDIA_TYPE*, IBaseFilter*, HANDLE, DWORD)
    FAKE_UNEXPECTED(Reconfigure, IGraphConfigCallback*, void*, DWORD, HANDLE)
    FAKE_UNEXPECTED(GetStartTime, REFERENCE_TIME*)
    FAKE_UNEXPECTED(PushThroughData, IPin*, IPinConnection*, HANDLE)
    FAKE_UNEXPECTED_EACH((IBaseFilter*, DWORD), SetFilterFlags, RemoveFilterEx)
    FAKE_UNEXPECTED(GetFilterFlags, IBaseFilter*, DWORD*)

private:
    std::vector<IBaseFilter*> m_cache; ///< one reference each
    unsigned m_version = 0;
};

/// IMediaControl: journal name "control". GetState gives `state`.
class ControlFacet final : public DispatchFacet<IMediaControl, IID_IMediaControl> {
public:
    using DispatchFacet::DispatchFacet;
    std::atomic<long> state{State_Stopped};

    STDMETHODIMP Run() override { return Become("Run", State_Running); }
    STDMETHODIMP Pause() override { return Become("Pause", State_Paused); }
    STDMETHODIMP Stop() override { return Become("Stop", State_Stopped); }
    STDMETHODIMP StopWhenReady() override { return Become("StopWhenReady", State_Stopped); }
    STDMETHODIMP GetState(long timeout, OAFilterState* out) override {
        return Call("GetState", std::tie(timeout), [&] { *out = state; });
    }
    FAKE_UNEXPECTED(RenderFile, BSTR)
    FAKE_UNEXPECTED(AddSourceFilter, BSTR, IDispatch**)
    FAKE_UNEXPECTED_EACH((IDispatch**), get_FilterCollection, get_RegFilterCollection)

private:
    HRESULT Become(const char* method, long next) {
        return Call(method, [&] { state = next; });
    }
};

/// IMediaFilter: journal name "mediaFilter".
class MediaFilterFacet final : public Facet<IMediaFilter, IID_IMediaFilter> {
public:
    using Facet::Facet;
    bool hasClock = true; ///< false after SetSyncSource(null)

    FAKE_KEEP(SetSyncSource, IReferenceClock*, hasClock)
    FAKE_UNEXPECTED(GetClassID, CLSID*)
    FAKE_UNEXPECTED_EACH((), Stop, Pause)
    FAKE_UNEXPECTED(Run, REFERENCE_TIME)
    FAKE_UNEXPECTED(GetState, DWORD, FILTER_STATE*)
    FAKE_UNEXPECTED(GetSyncSource, IReferenceClock**)
};

/// IMediaSeeking: journal name "seeking". SetTimeFormat takes the keys of `durations`.
class SeekingFacet final : public Facet<IMediaSeeking, IID_IMediaSeeking> {
public:
    using Facet::Facet;

    DWORD capabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanGetDuration;
    GUID format = TIME_FORMAT_MEDIA_TIME; ///< in use
    /// Of the supported formats.
    std::map<GUID, LONGLONG, GuidLess> durations{{TIME_FORMAT_MEDIA_TIME, 100'000'000}};
    LONGLONG current = 0;
    LONGLONG stop = 0;

    /// 10 s in media time, 250 frames.
    void SupportFrames() { durations[TIME_FORMAT_FRAME] = 250; }
    /// Works in `only` and accepts no other format.
    void OnlyFormat(const GUID& only, LONGLONG duration) {
        durations = {{only, duration}};
        format = only;
    }

    FAKE_GIVE(GetCapabilities, DWORD, capabilities)
    FAKE_GIVE(GetTimeFormat, GUID, format)
    FAKE_GIVE(GetCurrentPosition, LONGLONG, current)
    STDMETHODIMP IsUsingTimeFormat(const GUID* asked) override {
        return Call("IsUsingTimeFormat", std::tie(*asked),
                    [&] { return *asked == format ? S_OK : S_FALSE; });
    }
    STDMETHODIMP SetTimeFormat(const GUID* wanted) override;
    STDMETHODIMP GetDuration(LONGLONG* out) override;
    /// Journalled as SetPositions(current, flags, stop, flags), "null" for a null pointer.
    STDMETHODIMP SetPositions(LONGLONG* newCurrent, DWORD currentFlags, LONGLONG* newStop,
                              DWORD stopFlags) override;
    FAKE_UNEXPECTED(CheckCapabilities, DWORD*)
    FAKE_UNEXPECTED(IsFormatSupported, const GUID*)
    FAKE_UNEXPECTED(QueryPreferredFormat, GUID*)
    FAKE_UNEXPECTED_EACH((LONGLONG*), GetStopPosition, GetPreroll)
    FAKE_UNEXPECTED(ConvertTimeFormat, LONGLONG*, const GUID*, LONGLONG, const GUID*)
    FAKE_UNEXPECTED_EACH((LONGLONG*, LONGLONG*), GetPositions, GetAvailable)
    FAKE_UNEXPECTED(SetRate, double)
    FAKE_UNEXPECTED(GetRate, double*)
};

/// IMediaEventEx: journal name "events". The queue takes no lock on the reading side: the
/// reader may be suspended or terminated anywhere.
class EventsFacet final : public DispatchFacet<IMediaEventEx, IID_IMediaEventEx> {
public:
    using DispatchFacet::DispatchFacet;
    ~EventsFacet() override { CloseHandle(m_handle); }

    void Push(long code, LONG_PTR param1 = 0, LONG_PTR param2 = 0);
    std::size_t Waiting() const { return m_pushed - m_popped; }
    /// Events given out whose parameters have not come back.
    long Unfreed() const { return m_unfreed; }

    FAKE_GIVE(GetEventHandle, OAEVENT, reinterpret_cast<OAEVENT>(m_handle))
    STDMETHODIMP GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeout) override;
    STDMETHODIMP FreeEventParams(long code, LONG_PTR param1, LONG_PTR param2) override {
        return Call("FreeEventParams", std::tie(code, param1, param2), [&] { --m_unfreed; });
    }
    STDMETHODIMP SetNotifyWindow(OAHWND target, long message, LONG_PTR data) override {
        return Note("SetNotifyWindow", target, message, data);
    }
    FAKE_UNEXPECTED(WaitForCompletion, long, long*)
    FAKE_UNEXPECTED_EACH((long), CancelDefaultHandling, RestoreDefaultHandling, SetNotifyFlags)
    FAKE_UNEXPECTED(GetNotifyFlags, long*)

private:
    struct Event {
        long code;
        LONG_PTR param1, param2;
    };

    HANDLE m_handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::mutex m_pushing;
    std::vector<Event> m_events{1024}; ///< a ring
    std::atomic<std::size_t> m_pushed{0};
    std::atomic<std::size_t> m_popped{0};
    std::atomic<long> m_unfreed{0};
};

/// IBasicVideo: journal name "video".
class VideoFacet final : public DispatchFacet<IBasicVideo, IID_IBasicVideo> {
public:
    using DispatchFacet::DispatchFacet;
    struct Rect {
        long left = 0, top = 0, width = 0, height = 0;
        bool operator==(const Rect&) const = default;
    };
    Rect source{0, 0, 640, 360}; ///< get_SourceWidth and get_SourceHeight read it
    Rect destination;
    double frameSeconds = 0.04; ///< get_AvgTimePerFrame
    std::vector<BYTE> image;    ///< GetCurrentImage

    FAKE_GIVE(get_AvgTimePerFrame, REFTIME, frameSeconds)
    FAKE_GIVE(get_SourceWidth, long, source.width)
    FAKE_GIVE(get_SourceHeight, long, source.height)
    FAKE_KEEP(put_SourceLeft, long, source.left)
    FAKE_KEEP(put_SourceTop, long, source.top)
    FAKE_KEEP(put_SourceWidth, long, source.width)
    FAKE_KEEP(put_SourceHeight, long, source.height)
    FAKE_KEEP(put_DestinationLeft, long, destination.left)
    FAKE_KEEP(put_DestinationTop, long, destination.top)
    FAKE_KEEP(put_DestinationWidth, long, destination.width)
    FAKE_KEEP(put_DestinationHeight, long, destination.height)
    STDMETHODIMP SetSourcePosition(long left, long top, long width, long height) override {
        return Call("SetSourcePosition", std::tie(left, top, width, height), [&] {
            source = {left, top, width, height};
        });
    }
    STDMETHODIMP SetDestinationPosition(long left, long top, long width, long height) override {
        return Call("SetDestinationPosition", std::tie(left, top, width, height), [&] {
            destination = {left, top, width, height};
        });
    }
    /// Journalled as GetCurrentImage(size asked for or -1, whether a buffer was given).
    STDMETHODIMP GetCurrentImage(long* size, long* dib) override;
    FAKE_UNEXPECTED_EACH((long*), get_BitRate, get_BitErrorRate, get_VideoWidth, get_VideoHeight,
                         get_SourceLeft, get_SourceTop, get_DestinationLeft, get_DestinationWidth,
                         get_DestinationTop, get_DestinationHeight)
    FAKE_UNEXPECTED_EACH((long*, long*, long*, long*), GetSourcePosition, GetDestinationPosition)
    FAKE_UNEXPECTED_EACH((), SetDefaultSourcePosition, SetDefaultDestinationPosition,
                         IsUsingDefaultSource, IsUsingDefaultDestination)
    FAKE_UNEXPECTED(GetVideoSize, long*, long*)
    FAKE_UNEXPECTED(GetVideoPaletteEntries, long, long, long*, long*)
};

/// IBasicAudio: journal name "audio".
class AudioFacet final : public DispatchFacet<IBasicAudio, IID_IBasicAudio> {
public:
    using DispatchFacet::DispatchFacet;
    long volume = 0;

    FAKE_KEEP(put_Volume, long, volume)
    FAKE_GIVE(get_Volume, long, volume)
    FAKE_UNEXPECTED(put_Balance, long)
    FAKE_UNEXPECTED(get_Balance, long*)
};

/// IVideoWindow: journal name "window".
class WindowFacet final : public DispatchFacet<IVideoWindow, IID_IVideoWindow> {
public:
    using DispatchFacet::DispatchFacet;

    FAKE_NOTE_EACH(long, put_WindowStyle, put_Visible, SetWindowForeground)
    FAKE_NOTE_EACH(OAHWND, put_Owner, put_MessageDrain)
    STDMETHODIMP SetWindowPosition(long left, long top, long width, long height) override {
        return Note("SetWindowPosition", left, top, width, height);
    }
    FAKE_UNEXPECTED(put_Caption, BSTR)
    FAKE_UNEXPECTED(get_Caption, BSTR*)
    FAKE_UNEXPECTED_EACH((long), put_WindowStyleEx, put_AutoShow, put_WindowState,
                         put_BackgroundPalette, put_Left, put_Width, put_Top, put_Height,
                         put_BorderColor, put_FullScreenMode, HideCursor)
    FAKE_UNEXPECTED_EACH((long*), get_WindowStyle, get_WindowStyleEx, get_AutoShow, get_WindowState,
                         get_BackgroundPalette, get_Visible, get_Left, get_Width, get_Top,
                         get_Height, get_BorderColor, get_FullScreenMode, IsCursorHidden)
    FAKE_UNEXPECTED_EACH((OAHWND*), get_Owner, get_MessageDrain)
    FAKE_UNEXPECTED(NotifyOwnerMessage, OAHWND, long, LONG_PTR, LONG_PTR)
    FAKE_UNEXPECTED_EACH((long*, long*, long*, long*), GetWindowPosition, GetRestorePosition)
    FAKE_UNEXPECTED_EACH((long*, long*), GetMinIdealImageSize, GetMaxIdealImageSize)
};

/// IVideoFrameStep: journal name "step".
class StepFacet final : public Facet<IVideoFrameStep, IID_IVideoFrameStep> {
public:
    using Facet::Facet;
    STDMETHODIMP Step(DWORD frames, IUnknown* object) override {
        return Note("Step", frames, object);
    }
    STDMETHODIMP CanStep(long multiple, IUnknown* object) override {
        return Note("CanStep", multiple, object);
    }
    FAKE_UNEXPECTED(CancelStep)
};

} // namespace fakes
