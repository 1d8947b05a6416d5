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
class ConfigFacet final : public Facet<IGraphConfig> {
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
    void Empty();
    void Abandon() override { m_cache.clear(); }

    HRESULT STDMETHODCALLTYPE AddFilterToCache(IBaseFilter* filter) override;
    HRESULT STDMETHODCALLTYPE EnumCacheFilter(IEnumFilters** out) override;
    HRESULT STDMETHODCALLTYPE RemoveFilterFromCache(IBaseFilter* filter) override;
    FAKE_UNEXPECTED(Reconnect, IPin*, IPin*, const AM_MEDIA_TYPE*, IBaseFilter*, HANDLE, DWORD)
    FAKE_UNEXPECTED(Reconfigure, IGraphConfigCallback*, void*, DWORD, HANDLE)
    FAKE_UNEXPECTED(GetStartTime, REFERENCE_TIME*)
    FAKE_UNEXPECTED(PushThroughData, IPin*, IPinConnection*, HANDLE)
    FAKE_UNEXPECTED(SetFilterFlags, IBaseFilter*, DWORD)
    FAKE_UNEXPECTED(GetFilterFlags, IBaseFilter*, DWORD*)
    FAKE_UNEXPECTED(RemoveFilterEx, IBaseFilter*, DWORD)

private:
    std::vector<IBaseFilter*> m_cache; ///< one reference each
    unsigned m_version = 0;
};

/// IMediaControl: journal name "control". GetState gives `state`.
class ControlFacet final : public DispatchFacet<IMediaControl> {
public:
    using DispatchFacet::DispatchFacet;
    std::atomic<long> state{State_Stopped};

    HRESULT STDMETHODCALLTYPE Run() override { return Become("Run", State_Running); }
    HRESULT STDMETHODCALLTYPE Pause() override { return Become("Pause", State_Paused); }
    HRESULT STDMETHODCALLTYPE Stop() override { return Become("Stop", State_Stopped); }
    HRESULT STDMETHODCALLTYPE StopWhenReady() override {
        return Become("StopWhenReady", State_Stopped);
    }
    HRESULT STDMETHODCALLTYPE GetState(long timeout, OAFilterState* out) override;
    FAKE_UNEXPECTED(RenderFile, BSTR)
    FAKE_UNEXPECTED(AddSourceFilter, BSTR, IDispatch**)
    FAKE_UNEXPECTED(get_FilterCollection, IDispatch**)
    FAKE_UNEXPECTED(get_RegFilterCollection, IDispatch**)

private:
    HRESULT Become(const char* method, long next) {
        return Call(method, [&] {
            state = next;
            return S_OK;
        });
    }
};

/// IMediaFilter: journal name "mediaFilter".
class MediaFilterFacet final : public Facet<IMediaFilter> {
public:
    using Facet::Facet;
    bool hasClock = true; ///< false after SetSyncSource(null)

    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;
    FAKE_UNEXPECTED(GetClassID, CLSID*)
    FAKE_UNEXPECTED(Stop)
    FAKE_UNEXPECTED(Pause)
    FAKE_UNEXPECTED(Run, REFERENCE_TIME)
    FAKE_UNEXPECTED(GetState, DWORD, FILTER_STATE*)
    FAKE_UNEXPECTED(GetSyncSource, IReferenceClock**)
};

/// IMediaSeeking: journal name "seeking". SetTimeFormat takes the keys of `durations`.
class SeekingFacet final : public Facet<IMediaSeeking> {
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
    void OnlyFormat(const GUID& only, LONGLONG duration);

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* out) override {
        return Give("GetCapabilities", out, capabilities);
    }
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* out) override {
        return Give("GetTimeFormat", out, format);
    }
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* asked) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* wanted) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* out) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* out) override {
        return Give("GetCurrentPosition", out, current);
    }
    /// Journalled as SetPositions(current, flags, stop, flags), "null" for a null pointer.
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* newCurrent, DWORD currentFlags,
                                           LONGLONG* newStop, DWORD stopFlags) override;
    FAKE_UNEXPECTED(CheckCapabilities, DWORD*)
    FAKE_UNEXPECTED(IsFormatSupported, const GUID*)
    FAKE_UNEXPECTED(QueryPreferredFormat, GUID*)
    FAKE_UNEXPECTED(GetStopPosition, LONGLONG*)
    FAKE_UNEXPECTED(ConvertTimeFormat, LONGLONG*, const GUID*, LONGLONG, const GUID*)
    FAKE_UNEXPECTED(GetPositions, LONGLONG*, LONGLONG*)
    FAKE_UNEXPECTED(GetAvailable, LONGLONG*, LONGLONG*)
    FAKE_UNEXPECTED(SetRate, double)
    FAKE_UNEXPECTED(GetRate, double*)
    FAKE_UNEXPECTED(GetPreroll, LONGLONG*)
};

/// IMediaEventEx: journal name "events". The queue takes no lock on the reading side: the
/// reader may be suspended or terminated anywhere.
class EventsFacet final : public DispatchFacet<IMediaEventEx> {
public:
    using DispatchFacet::DispatchFacet;
    ~EventsFacet() override { CloseHandle(m_handle); }

    void Push(long code, LONG_PTR param1 = 0, LONG_PTR param2 = 0);
    std::size_t Waiting() const { return m_pushed - m_popped; }
    /// Events given out whose parameters have not come back.
    long Unfreed() const { return m_unfreed; }

    HRESULT STDMETHODCALLTYPE GetEventHandle(OAEVENT* out) override {
        return Give("GetEventHandle", out, reinterpret_cast<OAEVENT>(m_handle));
    }
    HRESULT STDMETHODCALLTYPE GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2,
                                       long timeout) override;
    HRESULT STDMETHODCALLTYPE FreeEventParams(long code, LONG_PTR param1, LONG_PTR param2) override;
    HRESULT STDMETHODCALLTYPE SetNotifyWindow(OAHWND target, long message, LONG_PTR data) override {
        return Note("SetNotifyWindow", target, message, data);
    }
    FAKE_UNEXPECTED(WaitForCompletion, long, long*)
    FAKE_UNEXPECTED(CancelDefaultHandling, long)
    FAKE_UNEXPECTED(RestoreDefaultHandling, long)
    FAKE_UNEXPECTED(SetNotifyFlags, long)
    FAKE_UNEXPECTED(GetNotifyFlags, long*)

private:
    struct Event {
        long code;
        LONG_PTR param1;
        LONG_PTR param2;
    };
    static constexpr std::size_t kCapacity = 1024;

    HANDLE m_handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::mutex m_pushing;
    std::vector<Event> m_events{kCapacity};
    std::atomic<std::size_t> m_pushed{0};
    std::atomic<std::size_t> m_popped{0};
    std::atomic<long> m_unfreed{0};
};

/// IBasicVideo: journal name "video".
class VideoFacet final : public DispatchFacet<IBasicVideo> {
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

    HRESULT STDMETHODCALLTYPE get_AvgTimePerFrame(REFTIME* out) override {
        return Give("get_AvgTimePerFrame", out, frameSeconds);
    }
    HRESULT STDMETHODCALLTYPE get_SourceWidth(long* out) override {
        return Give("get_SourceWidth", out, source.width);
    }
    HRESULT STDMETHODCALLTYPE get_SourceHeight(long* out) override {
        return Give("get_SourceHeight", out, source.height);
    }
    HRESULT STDMETHODCALLTYPE put_SourceLeft(long value) override {
        return Keep("put_SourceLeft", source.left, value);
    }
    HRESULT STDMETHODCALLTYPE put_SourceTop(long value) override {
        return Keep("put_SourceTop", source.top, value);
    }
    HRESULT STDMETHODCALLTYPE put_SourceWidth(long value) override {
        return Keep("put_SourceWidth", source.width, value);
    }
    HRESULT STDMETHODCALLTYPE put_SourceHeight(long value) override {
        return Keep("put_SourceHeight", source.height, value);
    }
    HRESULT STDMETHODCALLTYPE put_DestinationLeft(long value) override {
        return Keep("put_DestinationLeft", destination.left, value);
    }
    HRESULT STDMETHODCALLTYPE put_DestinationTop(long value) override {
        return Keep("put_DestinationTop", destination.top, value);
    }
    HRESULT STDMETHODCALLTYPE put_DestinationWidth(long value) override {
        return Keep("put_DestinationWidth", destination.width, value);
    }
    HRESULT STDMETHODCALLTYPE put_DestinationHeight(long value) override {
        return Keep("put_DestinationHeight", destination.height, value);
    }
    HRESULT STDMETHODCALLTYPE SetSourcePosition(long left, long top, long width,
                                                long height) override {
        return Place("SetSourcePosition", source, {left, top, width, height});
    }
    HRESULT STDMETHODCALLTYPE SetDestinationPosition(long left, long top, long width,
                                                     long height) override {
        return Place("SetDestinationPosition", destination, {left, top, width, height});
    }
    /// Journalled as GetCurrentImage(size asked for or -1, whether a buffer was given).
    HRESULT STDMETHODCALLTYPE GetCurrentImage(long* size, long* dib) override;
    FAKE_UNEXPECTED(get_BitRate, long*)
    FAKE_UNEXPECTED(get_BitErrorRate, long*)
    FAKE_UNEXPECTED(get_VideoWidth, long*)
    FAKE_UNEXPECTED(get_VideoHeight, long*)
    FAKE_UNEXPECTED(get_SourceLeft, long*)
    FAKE_UNEXPECTED(get_SourceTop, long*)
    FAKE_UNEXPECTED(get_DestinationLeft, long*)
    FAKE_UNEXPECTED(get_DestinationWidth, long*)
    FAKE_UNEXPECTED(get_DestinationTop, long*)
    FAKE_UNEXPECTED(get_DestinationHeight, long*)
    FAKE_UNEXPECTED(GetSourcePosition, long*, long*, long*, long*)
    FAKE_UNEXPECTED(SetDefaultSourcePosition)
    FAKE_UNEXPECTED(GetDestinationPosition, long*, long*, long*, long*)
    FAKE_UNEXPECTED(SetDefaultDestinationPosition)
    FAKE_UNEXPECTED(GetVideoSize, long*, long*)
    FAKE_UNEXPECTED(GetVideoPaletteEntries, long, long, long*, long*)
    FAKE_UNEXPECTED(IsUsingDefaultSource)
    FAKE_UNEXPECTED(IsUsingDefaultDestination)

private:
    HRESULT Place(const char* method, Rect& rect, const Rect& value) {
        return Call(method, std::tie(value.left, value.top, value.width, value.height), [&] {
            rect = value;
            return S_OK;
        });
    }
};

/// IBasicAudio: journal name "audio".
class AudioFacet final : public DispatchFacet<IBasicAudio> {
public:
    using DispatchFacet::DispatchFacet;
    long volume = 0;

    HRESULT STDMETHODCALLTYPE put_Volume(long value) override {
        return Keep("put_Volume", volume, value);
    }
    HRESULT STDMETHODCALLTYPE get_Volume(long* out) override {
        return Give("get_Volume", out, volume);
    }
    FAKE_UNEXPECTED(put_Balance, long)
    FAKE_UNEXPECTED(get_Balance, long*)
};

/// IVideoWindow: journal name "window".
class WindowFacet final : public DispatchFacet<IVideoWindow> {
public:
    using DispatchFacet::DispatchFacet;

    HRESULT STDMETHODCALLTYPE put_WindowStyle(long value) override {
        return Note("put_WindowStyle", value);
    }
    HRESULT STDMETHODCALLTYPE put_Visible(long value) override {
        return Note("put_Visible", value);
    }
    HRESULT STDMETHODCALLTYPE put_Owner(OAHWND value) override { return Note("put_Owner", value); }
    HRESULT STDMETHODCALLTYPE put_MessageDrain(OAHWND value) override {
        return Note("put_MessageDrain", value);
    }
    HRESULT STDMETHODCALLTYPE SetWindowForeground(long focus) override {
        return Note("SetWindowForeground", focus);
    }
    HRESULT STDMETHODCALLTYPE SetWindowPosition(long left, long top, long width,
                                                long height) override {
        return Note("SetWindowPosition", left, top, width, height);
    }
    FAKE_UNEXPECTED(put_Caption, BSTR)
    FAKE_UNEXPECTED(get_Caption, BSTR*)
    FAKE_UNEXPECTED(get_WindowStyle, long*)
    FAKE_UNEXPECTED(put_WindowStyleEx, long)
    FAKE_UNEXPECTED(get_WindowStyleEx, long*)
    FAKE_UNEXPECTED(put_AutoShow, long)
    FAKE_UNEXPECTED(get_AutoShow, long*)
    FAKE_UNEXPECTED(put_WindowState, long)
    FAKE_UNEXPECTED(get_WindowState, long*)
    FAKE_UNEXPECTED(put_BackgroundPalette, long)
    FAKE_UNEXPECTED(get_BackgroundPalette, long*)
    FAKE_UNEXPECTED(get_Visible, long*)
    FAKE_UNEXPECTED(put_Left, long)
    FAKE_UNEXPECTED(get_Left, long*)
    FAKE_UNEXPECTED(put_Width, long)
    FAKE_UNEXPECTED(get_Width, long*)
    FAKE_UNEXPECTED(put_Top, long)
    FAKE_UNEXPECTED(get_Top, long*)
    FAKE_UNEXPECTED(put_Height, long)
    FAKE_UNEXPECTED(get_Height, long*)
    FAKE_UNEXPECTED(get_Owner, OAHWND*)
    FAKE_UNEXPECTED(get_MessageDrain, OAHWND*)
    FAKE_UNEXPECTED(get_BorderColor, long*)
    FAKE_UNEXPECTED(put_BorderColor, long)
    FAKE_UNEXPECTED(get_FullScreenMode, long*)
    FAKE_UNEXPECTED(put_FullScreenMode, long)
    FAKE_UNEXPECTED(NotifyOwnerMessage, OAHWND, long, LONG_PTR, LONG_PTR)
    FAKE_UNEXPECTED(GetWindowPosition, long*, long*, long*, long*)
    FAKE_UNEXPECTED(GetMinIdealImageSize, long*, long*)
    FAKE_UNEXPECTED(GetMaxIdealImageSize, long*, long*)
    FAKE_UNEXPECTED(GetRestorePosition, long*, long*, long*, long*)
    FAKE_UNEXPECTED(HideCursor, long)
    FAKE_UNEXPECTED(IsCursorHidden, long*)
};

/// IVideoFrameStep: journal name "step".
class StepFacet final : public Facet<IVideoFrameStep> {
public:
    using Facet::Facet;
    HRESULT STDMETHODCALLTYPE Step(DWORD frames, IUnknown* object) override {
        return Note("Step", frames, object);
    }
    HRESULT STDMETHODCALLTYPE CanStep(long multiple, IUnknown* object) override {
        return Note("CanStep", multiple, object);
    }
    FAKE_UNEXPECTED(CancelStep)
};

} // namespace fakes
