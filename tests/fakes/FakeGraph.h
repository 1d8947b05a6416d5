#pragma once

#include <windows.h>

#include <dshow.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fakes/FakeFilter.h"
#include "fakes/GraphFacets.h"

namespace fakes {

/// A filter graph manager. Journal name "graph"; its other interfaces are the facets below,
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
    bool Contains(IBaseFilter* filter) const { return m_names.contains(filter); }
    std::size_t FilterCount() const { return m_filters.size(); }
    FakeFilter* Find(std::string_view name) const;
    std::vector<std::string> FilterNames() const; ///< as EnumFilters lists them
    std::vector<std::string> Connections() const; ///< "A.Out1 -> B.In1", sorted

    HRESULT ConnectPins(FakePin& out, FakePin& in);
    HRESULT RenderPin(FakePin& out);
    void Leave(IBaseFilter* filter);

    STDMETHODIMP AddFilter(IBaseFilter* filter, LPCWSTR name) override;
    STDMETHODIMP RemoveFilter(IBaseFilter* filter) override;
    STDMETHODIMP EnumFilters(IEnumFilters** out) override {
        return Enumerate<IBaseFilter>("EnumFilters", out, m_filters, m_version);
    }
    STDMETHODIMP Disconnect(IPin* pin) override {
        return Call("Disconnect", std::tie(pin), [&] { return pin->Disconnect(); });
    }
    STDMETHODIMP SetDefaultSyncSource() override {
        return Call("SetDefaultSyncSource", [&] { mediaFilter.hasClock = true; });
    }
    STDMETHODIMP Connect(IPin* out, IPin* in) override;
    STDMETHODIMP Render(IPin* out) override;
    STDMETHODIMP AddSourceFilter(LPCWSTR path, LPCWSTR name, IBaseFilter** out) override;
    FAKE_UNEXPECTED(FindFilterByName, LPCWSTR, IBaseFilter**)
    FAKE_UNEXPECTED(ConnectDirect, IPin*, IPin*, const AM_MEDIA_TYPE*)
    FAKE_UNEXPECTED(Reconnect, IPin*)
    FAKE_UNEXPECTED(RenderFile, LPCWSTR, LPCWSTR)
    FAKE_UNEXPECTED(SetLogFile, DWORD_PTR)
    FAKE_UNEXPECTED_EACH((), Abort, ShouldOperationContinue)

private:
    bool IsNamed(const std::wstring& name) const;
    bool CanJoin(FakePin& out, FakePin& in) const;
    bool JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in);

    std::vector<IBaseFilter*> m_filters; ///< the latest first, one reference each
    std::map<IBaseFilter*, std::wstring> m_names;
    unsigned m_version = 0;
    unsigned m_nextName = 1;
    unsigned m_nextRenderer = 1;
};

/// A graph with one reference for the caller.
inline ComPtr<FakeGraph> MakeGraph() {
    return Adopt(new FakeGraph);
}

} // namespace fakes
