#pragma once

#include <functional>

#include "fakes/FakeFilter.h"

namespace fakes {

/// IGraphConfig: journal name "config".
class ConfigFacet final : public Facet<IGraphConfig, IID_IGraphConfig> {
public:
    using Facet::Facet;

    /// What RemoveFilterFromCache does to the filter's count: 0 leaves the cache's reference
    /// to the caller, as DirectShow does; -1 releases it, n adds n more.
    int removeRefDelta = 0;

    /// The cache's calls answer E_NOTIMPL from now on.
    void RefuseCache() {
        results["AddFilterToCache"] = results["EnumCacheFilter"] =
            results["RemoveFilterFromCache"] = E_NOTIMPL;
    }

    const std::vector<IBaseFilter*>& Cached() const { return m_cache; }
    bool IsCached(IBaseFilter* filter) const { return std::ranges::count(m_cache, filter) != 0; }
    /// Takes the filter out of the cache with the cache's reference; null when not cached.
    ComPtr<IBaseFilter> Withdraw(IBaseFilter* filter) {
        const bool cached = std::erase(m_cache, filter) != 0;
        m_version += cached ? 1 : 0;
        return cached ? Adopt(filter) : nullptr;
    }

    STDMETHODIMP AddFilterToCache(IBaseFilter* filter) override {
        return Call("AddFilterToCache", std::tie(filter), [&] {
            if (IsCached(filter)) {
                return S_FALSE;
            }
            m_cache.push_back(HandOut(filter));
            ++m_version;
            return S_OK;
        });
    }
    STDMETHODIMP EnumCacheFilter(IEnumFilters** out) override {
        return Enumerate<IBaseFilter>("EnumCacheFilter", out, m_cache, m_version);
    }
    STDMETHODIMP RemoveFilterFromCache(IBaseFilter* filter) override {
        return Call("RemoveFilterFromCache", std::tie(filter), [&] {
            const ComPtr<IBaseFilter> taken = Withdraw(filter);
            for (int i = -1; taken && i < removeRefDelta; ++i) {
                filter->AddRef(); // the first instead of the cache's, which is the caller's now
            }
            return taken ? S_OK : S_FALSE;
        });
    }
    FAKE_UNEXPECTED(Reconnect(IPin*, IPin*, const AM_MEDIA_TYPE*, IBaseFilter*, HANDLE, DWORD),
                    Reconfigure(IGraphConfigCallback*, void*, DWORD, HANDLE),
                    GetStartTime(REFERENCE_TIME*), PushThroughData(IPin*, IPinConnection*, HANDLE),
                    SetFilterFlags(IBaseFilter*, DWORD), GetFilterFlags(IBaseFilter*, DWORD*),
                    RemoveFilterEx(IBaseFilter*, DWORD))

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
    FAKE_UNEXPECTED(RenderFile(BSTR), AddSourceFilter(BSTR, IDispatch**),
                    get_FilterCollection(IDispatch**), get_RegFilterCollection(IDispatch**))

private:
    HRESULT Become(const char* method, long next) {
        return Call(method, [&] { state = next; });
    }
};

/// IMediaFilter: journal name "mediaFilter".
class MediaFilterFacet final : public Facet<IMediaFilter, IID_IMediaFilter> {
public:
    using Facet::Facet;
    FAKE_NOTE(IReferenceClock*, SetSyncSource)
    FAKE_UNEXPECTED(GetClassID(CLSID*), Stop(), Pause(), Run(REFERENCE_TIME),
                    GetState(DWORD, FILTER_STATE*), GetSyncSource(IReferenceClock**))
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
    double rate = 1;

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
    FAKE_GIVE(GetRate, double, rate)
    /// Journalled in percent.
    STDMETHODIMP SetRate(double wanted) override {
        const int percent = static_cast<int>(wanted * 100);
        return Call("SetRate", std::tie(percent), [&] { rate = wanted; });
    }
    STDMETHODIMP IsUsingTimeFormat(const GUID* asked) override {
        return Call("IsUsingTimeFormat", std::tie(*asked),
                    [&] { return *asked == format ? S_OK : S_FALSE; });
    }
    STDMETHODIMP SetTimeFormat(const GUID* wanted) override {
        return Call("SetTimeFormat", std::tie(*wanted), [&] {
            const bool known = durations.contains(*wanted);
            format = known ? *wanted : format;
            return known ? S_OK : E_INVALIDARG;
        });
    }
    STDMETHODIMP GetDuration(LONGLONG* out) override {
        return Call("GetDuration", [&] {
            const auto found = durations.find(format);
            *out = found != durations.end() ? found->second : 0;
            return found != durations.end() ? S_OK : E_NOTIMPL;
        });
    }
    /// Journalled as SetPositions(current, flags, stop, flags), "null" for a null pointer.
    STDMETHODIMP SetPositions(LONGLONG* newCurrent, DWORD currentFlags, LONGLONG* newStop,
                              DWORD stopFlags) override {
        return Call("SetPositions", std::tie(newCurrent, currentFlags, newStop, stopFlags), [&] {
            current = (currentFlags & AM_SEEKING_PositioningBitsMask) != 0 ? *newCurrent : current;
            stop = (stopFlags & AM_SEEKING_PositioningBitsMask) != 0 ? *newStop : stop;
        });
    }
    FAKE_UNEXPECTED(CheckCapabilities(DWORD*), IsFormatSupported(const GUID*),
                    QueryPreferredFormat(GUID*), GetStopPosition(LONGLONG*), GetPreroll(LONGLONG*),
                    ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*),
                    GetPositions(LONGLONG*, LONGLONG*), GetAvailable(LONGLONG*, LONGLONG*))
};

/// IMediaEventEx: journal name "events". The queue takes no lock on the reading side: the
/// reader may be suspended or terminated anywhere.
class EventsFacet final : public DispatchFacet<IMediaEventEx, IID_IMediaEventEx> {
public:
    using DispatchFacet::DispatchFacet;
    ~EventsFacet() override { CloseHandle(m_handle); }

    void Push(long code, LONG_PTR param1, LONG_PTR param2) {
        const std::lock_guard lock(m_pushing);
        m_events[m_pushed % m_events.size()] = {code, param1, param2};
        ++m_pushed;
        SetEvent(m_handle);
    }
    std::size_t Waiting() const { return m_pushed - m_popped; }
    /// Events given out whose parameters have not come back.
    long Unfreed() const { return m_unfreed; }

    FAKE_GIVE(GetEventHandle, OAEVENT, reinterpret_cast<OAEVENT>(m_handle))
    STDMETHODIMP GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeout) override {
        return Call("GetEvent", std::tie(timeout), [&] {
            WaitForSingleObject(m_handle, static_cast<DWORD>(timeout));
            if (Waiting() == 0) {
                ResetEvent(m_handle);
                if (Waiting() == 0) {
                    return E_ABORT;
                }
                SetEvent(m_handle); // one came in between
            }
            std::tie(*code, *param1, *param2) = m_events[m_popped % m_events.size()];
            ++m_popped;
            ++m_unfreed;
            return S_OK;
        });
    }
    STDMETHODIMP FreeEventParams(long code, LONG_PTR param1, LONG_PTR param2) override {
        return Call("FreeEventParams", std::tie(code, param1, param2), [&] { --m_unfreed; });
    }
    STDMETHODIMP SetNotifyWindow(OAHWND target, long message, LONG_PTR data) override {
        return Note("SetNotifyWindow", target, message, data);
    }
    FAKE_UNEXPECTED(WaitForCompletion(long, long*), CancelDefaultHandling(long),
                    RestoreDefaultHandling(long), SetNotifyFlags(long), GetNotifyFlags(long*))

private:
    HANDLE m_handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::mutex m_pushing;
    std::vector<std::tuple<long, LONG_PTR, LONG_PTR>> m_events{1024}; ///< a ring
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
    STDMETHODIMP GetCurrentImage(long* size, long* dib) override {
        const long given = size != nullptr ? *size : -1;
        return Call("GetCurrentImage", std::tuple(given, dib != nullptr), [&] {
            if (size == nullptr) {
                return E_POINTER;
            }
            *size = static_cast<long>(image.size());
            if (dib != nullptr && given < *size) {
                return E_OUTOFMEMORY;
            }
            std::memcpy(dib, image.data(), dib != nullptr ? image.size() : 0);
            return S_OK;
        });
    }
    FAKE_UNEXPECTED(get_BitRate(long*), get_BitErrorRate(long*), get_VideoWidth(long*),
                    get_VideoHeight(long*), get_SourceLeft(long*), get_SourceTop(long*),
                    get_DestinationLeft(long*), get_DestinationWidth(long*),
                    get_DestinationTop(long*), get_DestinationHeight(long*),
                    GetSourcePosition(long*, long*, long*, long*), SetDefaultSourcePosition(),
                    GetDestinationPosition(long*, long*, long*, long*),
                    SetDefaultDestinationPosition(), IsUsingDefaultSource(),
                    IsUsingDefaultDestination(), GetVideoSize(long*, long*),
                    GetVideoPaletteEntries(long, long, long*, long*))
};

/// IBasicAudio: journal name "audio".
class AudioFacet final : public DispatchFacet<IBasicAudio, IID_IBasicAudio> {
public:
    using DispatchFacet::DispatchFacet;
    long volume = 0;

    FAKE_KEEP(put_Volume, long, volume)
    FAKE_GIVE(get_Volume, long, volume)
    FAKE_UNEXPECTED(put_Balance(long), get_Balance(long*))
};

/// IVideoWindow: journal name "window".
class WindowFacet final : public DispatchFacet<IVideoWindow, IID_IVideoWindow> {
public:
    using DispatchFacet::DispatchFacet;

    FAKE_NOTE(long, put_WindowStyle, put_Visible, SetWindowForeground)
    FAKE_NOTE(OAHWND, put_Owner, put_MessageDrain)
    STDMETHODIMP SetWindowPosition(long left, long top, long width, long height) override {
        return Note("SetWindowPosition", left, top, width, height);
    }
    FAKE_UNEXPECTED(put_Caption(BSTR), get_Caption(BSTR*), get_WindowStyle(long*),
                    put_WindowStyleEx(long), get_WindowStyleEx(long*), put_AutoShow(long),
                    get_AutoShow(long*), put_WindowState(long), get_WindowState(long*),
                    put_BackgroundPalette(long), get_BackgroundPalette(long*), get_Visible(long*),
                    put_Left(long), get_Left(long*), put_Width(long), get_Width(long*),
                    put_Top(long), get_Top(long*), put_Height(long), get_Height(long*),
                    get_Owner(OAHWND*), get_MessageDrain(OAHWND*), get_BorderColor(long*),
                    put_BorderColor(long), get_FullScreenMode(long*), put_FullScreenMode(long),
                    NotifyOwnerMessage(OAHWND, long, LONG_PTR, LONG_PTR),
                    GetWindowPosition(long*, long*, long*, long*),
                    GetMinIdealImageSize(long*, long*), GetMaxIdealImageSize(long*, long*),
                    GetRestorePosition(long*, long*, long*, long*), HideCursor(long),
                    IsCursorHidden(long*))
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
    FAKE_UNEXPECTED(CancelStep())
};

/// A filter graph manager. Journal name "graph"; its other interfaces are the facets above,
/// each with `present`, `results` and knobs of its own.
class FakeGraph final : public FakeOf<IGraphBuilder, IFilterGraph> {
public:
    FakeGraph() : FakeOf("graph") {}
    ~FakeGraph() override;

    ConfigFacet config{*this, "config"};
    ControlFacet control{*this, "control"};
    MediaFilterFacet mediaFilter{*this, "mediaFilter"};
    SeekingFacet seeking{*this, "seeking"};
    EventsFacet events{*this, "events"};
    VideoFacet video{*this, "video"};
    AudioFacet audio{*this, "audio"};
    WindowFacet window{*this, "window"};
    StepFacet step{*this, "step"};

    /// Replaces Render; RenderPin is the built-in way.
    std::function<HRESULT(FakePin& out)> onRender;

    /// Filters that intelligent connection may put between two pins, besides the cached ones
    /// and those in the graph. One that is used enters the graph.
    std::vector<ComPtr<FakeFilter>> transforms;

    /// AddSourceFilter's filter, null to refuse; without it VFW_E_UNKNOWN_FILE_TYPE.
    std::function<ComPtr<FakeFilter>(const std::wstring& path)> makeSource;

    // Quiet set-up, not journalled.
    /// The graph owns it.
    FakeFilter& Add(std::string name, const PinSpecs& pins) {
        const ComPtr<FakeFilter> filter = MakeFilter(std::move(name), pins);
        Add(filter.Get(), Widen(filter->Name()).c_str());
        return *filter.Get();
    }
    void Add(IBaseFilter* filter, const wchar_t* name) {
        const Silence silence;
        m_filters.insert(m_filters.begin(), HandOut(filter));
        filter->JoinFilterGraph(this, name);
        ++m_version;
    }
    void PushEvent(long code, LONG_PTR param1 = 0, LONG_PTR param2 = 0) {
        events.Push(code, param1, param2);
    }

    // Questions.
    bool Contains(IBaseFilter* filter) const { return std::ranges::count(m_filters, filter) != 0; }
    std::size_t FilterCount() const { return m_filters.size(); }
    FakeFilter* Find(std::string_view name) const {
        const auto found = std::ranges::find(m_filters, name, &NameOf);
        return found != m_filters.end() ? AsFake<FakeFilter>(*found) : nullptr;
    }
    Lines Connections() const; ///< "A.Out1 -> B.In1", sorted

    HRESULT RenderPin(FakePin& out);

    STDMETHODIMP AddFilter(IBaseFilter* filter, LPCWSTR name) override {
        return Call("AddFilter", std::tie(filter, name), [&] {
            return Contains(filter) ? VFW_E_DUPLICATE_NAME : (Add(filter, name), S_OK);
        });
    }
    STDMETHODIMP RemoveFilter(IBaseFilter* filter) override;
    STDMETHODIMP EnumFilters(IEnumFilters** out) override {
        return Enumerate<IBaseFilter>("EnumFilters", out, m_filters, m_version);
    }
    STDMETHODIMP Disconnect(IPin* pin) override {
        return Call("Disconnect", std::tie(pin), [&] { return pin->Disconnect(); });
    }
    STDMETHODIMP SetDefaultSyncSource() override { return Note("SetDefaultSyncSource"); }
    STDMETHODIMP Connect(IPin* out, IPin* in) override {
        return Call("Connect", std::tie(out, in),
                    [&] { return ConnectPins(*AsFake<FakePin>(out), *AsFake<FakePin>(in)); });
    }
    STDMETHODIMP Render(IPin* out) override {
        return Call("Render", std::tie(out), [&] {
            auto& pin = *AsFake<FakePin>(out);
            return onRender ? onRender(pin) : RenderPin(pin);
        });
    }
    STDMETHODIMP AddSourceFilter(LPCWSTR path, LPCWSTR name, IBaseFilter** out) override {
        *out = nullptr;
        return Call("AddSourceFilter", std::tie(path, name), [&] {
            const ComPtr<FakeFilter> source = makeSource ? makeSource(path) : nullptr;
            if (source) {
                Add(source.Get(), name);
                *out = HandOut(source.Get());
            }
            return source ? S_OK : VFW_E_UNKNOWN_FILE_TYPE;
        });
    }
    FAKE_UNEXPECTED(FindFilterByName(LPCWSTR, IBaseFilter**), Reconnect(IPin*),
                    ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*), RenderFile(LPCWSTR, LPCWSTR),
                    SetLogFile(DWORD_PTR), Abort(), ShouldOperationContinue())

private:
    HRESULT ConnectPins(FakePin& out, FakePin& in);

    std::vector<IBaseFilter*> m_filters; ///< the latest first, one reference each
    unsigned m_version = 0;
    unsigned m_nextRenderer = 1;
};

/// A graph with one reference for the caller.
inline ComPtr<FakeGraph> MakeGraph() {
    return Adopt(new FakeGraph);
}

} // namespace fakes
