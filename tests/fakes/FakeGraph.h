#pragma once

#include <windows.h>

#include <dshow.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "fakes/FakeFilter.h"
#include "fakes/GraphFacets.h"

namespace fakes {

/// A filter graph manager. Journal name "graph"; its other interfaces are the facets below,
/// each with `present`, `results` and knobs of its own.
class FakeGraph final : public FakeCom<IGraphBuilder> {
public:
    FakeGraph() : FakeCom("graph") {}
    ~FakeGraph() override;

    ConfigFacet config{*this, "config", IID_IGraphConfig};
    ControlFacet control{*this, "control", IID_IMediaControl};
    MediaFilterFacet mediaFilter{*this, "mediaFilter", IID_IMediaFilter};
    SeekingFacet seeking{*this, "seeking", IID_IMediaSeeking};
    EventsFacet events{*this, "events", IID_IMediaEventEx};
    VideoFacet video{*this, "video", IID_IBasicVideo};
    AudioFacet audio{*this, "audio", IID_IBasicAudio};
    WindowFacet window{*this, "window", IID_IVideoWindow};
    StepFacet step{*this, "step", IID_IVideoFrameStep};

    /// Whether two free pins can be connected directly; by media type when empty.
    std::function<bool(FakePin& out, FakePin& in)> canConnect;

    /// Replaces Connect, or Render. Use ConnectPins and RenderPin for the built-in ways.
    std::function<HRESULT(FakePin& out, FakePin& in)> onConnect;
    std::function<HRESULT(FakePin& out)> onRender;

    /// Filters that intelligent connection may put between two pins, besides the cached ones
    /// and those in the graph. One that is used enters the graph.
    std::vector<ComPtr<FakeFilter>> transforms;

    /// AddSourceFilter's filter, null to refuse; without it VFW_E_UNKNOWN_FILE_TYPE.
    std::function<ComPtr<FakeFilter>(const std::wstring& path)> makeSource;

    // Quiet set-up, not journalled.
    FakeFilter& Add(std::string name, const PinSpecs& pins); ///< the graph owns it
    void Add(IBaseFilter* filter, const wchar_t* name = nullptr);
    void PushEvent(long code, LONG_PTR param1 = 0, LONG_PTR param2 = 0) {
        events.Push(code, param1, param2);
    }

    // Questions.
    bool Contains(IBaseFilter* filter) const;
    std::size_t FilterCount() const { return m_filters.size(); }
    FakeFilter* Find(std::string_view name) const;
    std::vector<std::string> FilterNames() const; ///< as EnumFilters lists them
    std::vector<std::string> Connections() const; ///< "A.Out1 -> B.In1", sorted

    HRESULT ConnectPins(FakePin& out, FakePin& in);
    HRESULT RenderPin(FakePin& out);
    void Enter(IBaseFilter* filter, const wchar_t* name);
    void Leave(IBaseFilter* filter);
    unsigned Version() const { return m_version; }

    void Abandon() override;
    IUnknown* FindInterface(REFIID iid) override;

    HRESULT STDMETHODCALLTYPE AddFilter(IBaseFilter* filter, LPCWSTR name) override;
    HRESULT STDMETHODCALLTYPE RemoveFilter(IBaseFilter* filter) override;
    HRESULT STDMETHODCALLTYPE EnumFilters(IEnumFilters** out) override;
    HRESULT STDMETHODCALLTYPE Disconnect(IPin* pin) override;
    HRESULT STDMETHODCALLTYPE SetDefaultSyncSource() override;
    HRESULT STDMETHODCALLTYPE Connect(IPin* out, IPin* in) override;
    HRESULT STDMETHODCALLTYPE Render(IPin* out) override;
    HRESULT STDMETHODCALLTYPE AddSourceFilter(LPCWSTR path, LPCWSTR name,
                                              IBaseFilter** out) override;
    FAKE_UNEXPECTED(FindFilterByName, LPCWSTR, IBaseFilter**)
    FAKE_UNEXPECTED(ConnectDirect, IPin*, IPin*, const AM_MEDIA_TYPE*)
    FAKE_UNEXPECTED(Reconnect, IPin*)
    FAKE_UNEXPECTED(RenderFile, LPCWSTR, LPCWSTR)
    FAKE_UNEXPECTED(SetLogFile, DWORD_PTR)
    FAKE_UNEXPECTED(Abort)
    FAKE_UNEXPECTED(ShouldOperationContinue)

private:
    struct Member {
        IBaseFilter* filter; ///< one reference
        std::wstring name;
    };

    bool CanJoin(FakePin& out, FakePin& in) const;
    bool JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in);

    std::vector<Member> m_filters; ///< the last is the first that is enumerated
    std::set<std::wstring> m_names;
    unsigned m_version = 0;
    unsigned m_nextName = 1;
    unsigned m_nextRenderer = 1;
};

/// A graph with one reference for the caller.
ComPtr<FakeGraph> MakeGraph();

} // namespace fakes
