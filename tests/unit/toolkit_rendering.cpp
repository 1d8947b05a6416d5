// Rendering and track counting over a fake graph, and the cache's reference counting.
#include "toolkit_support.h"

#include "GraphToolkit/Attempts.h"

using namespace toolkit_test;
namespace toolkit = ymdshow::toolkit;

namespace {

class Rendering : public ToolkitTest {
protected:
    ComPtr<FakeGraph> graph = MakeGraph();
    Counters counters;

    int RenderSource(const ComPtr<FakeFilter>& source, std::vector<IBaseFilter*> renders) {
        counters = {};
        return TryRenderSource(graph.Get(), source.Get(), renders, &counters.video, &counters.audio,
                               &counters.text);
    }
    int LinkRender(const ComPtr<FakeFilter>& render, const ComPtr<FakeFilter>& source) {
        counters = {};
        return TryLinkRenderToFilter(graph.Get(), render.Get(), source.Get(), &counters.linked,
                                     &counters.video, &counters.audio, &counters.text);
    }
    int Tracks(const ComPtr<FakeFilter>& source) {
        counters = {};
        return GetLinkedTrackNum(graph.Get(), source.Get(), &counters.video, &counters.audio,
                                 &counters.text);
    }
};

// ---- the cache ----------------------------------------------------------------------------

TEST_F(Rendering, RemovingFromTheCacheDropsTheReferenceThatItHeld) {
    // What the cache does to the count on removal, and what is left of the test's one.
    for (const int delta : {-1, 0, 1, 2}) {
        SCOPED_TRACE(delta);
        const auto filter = MakeFilter("F", {});
        EXPECT_EQ(AddFilterToGraphBuilderCache(&graph->config, filter.Get()), 1);
        EXPECT_EQ(GetIUnknownRef(filter.Get()), 2);
        graph->config.removeRefDelta = delta;
        EXPECT_EQ(RemoveFilterFromGraphBuilderCache(&graph->config, filter.Get()), 1);
        EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
        // No longer cached: S_FALSE is success, and nothing is released.
        EXPECT_EQ(RemoveFilterFromGraphBuilderCache(&graph->config, filter.Get()), 1);
        EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    }
    const auto filter = MakeFilter("F", {});
    graph->config.RefuseCache();
    EXPECT_EQ(AddFilterToGraphBuilderCache(&graph->config, filter.Get()), 0);
    EXPECT_EQ(RemoveFilterFromGraphBuilderCache(&graph->config, filter.Get()), 0);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
}

TEST_F(Rendering, AddingAndRemovingFilters) {
    const auto filter = MakeFilter("F", {});
    EXPECT_EQ(AddFilterToGraphBuilder(graph.Get(), filter.Get(), L"name"), 1);
    EXPECT_EQ(AddFilterToGraphBuilder(graph.Get(), filter.Get(), nullptr), 0);
    EXPECT_EQ(RemoveFilterFromGraphBuilder(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(RemoveFilterFromGraphBuilder(graph.Get(), filter.Get()), 0);
    EXPECT_EQ(Calls(), (Lines{"graph.AddFilter(F, name)", "graph.AddFilter(F, null)",
                              "graph.RemoveFilter(F)", "graph.RemoveFilter(F)"}));
}

// ---- RenderFilter -------------------------------------------------------------------------

TEST_F(Rendering, FilterComesOutOfTheCacheIntoTheGraph) {
    const auto filter = MakeFilter("F", {In(), Out(Video()), Out(Audio())});
    AddFilterToGraphBuilderCache(&graph->config, filter.Get());
    Calls();
    EXPECT_EQ(RenderFilter(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(Calls(),
              (Lines{"config.RemoveFilterFromCache(F)", "F.QueryFilterInfo",
                     "graph.AddFilter(F, null)", "F.EnumPins", "F.In1.QueryDirection",
                     "F.Out1.QueryDirection", "F.Out1.ConnectedTo", "graph.Render(F.Out1)",
                     "F.Out2.QueryDirection", "F.Out2.ConnectedTo", "graph.Render(F.Out2)"}));
    EXPECT_FALSE(graph->config.IsCached(filter.Get()));
    // In the graph already, and linked: unlinked and rendered again.
    EXPECT_EQ(RenderFilter(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(CallsOf("graph.*").size(), 6u); // two disconnections and a rendering each
    graph->config.present = false;
    EXPECT_EQ(RenderFilter(graph.Get(), filter.Get()), 1);
}

TEST_F(Rendering, FilterResultIsOfTheLastFailure) {
    const auto filter = AddTo(graph, "F", {Out(Video()), Out(Audio()), Out(Stream())});
    const auto reason = [&](const ComPtr<FakeFilter>& rendered) {
        HRESULT result = 1;
        const int answer = toolkit::RenderFilter(graph.Get(), rendered.Get(), &result);
        EXPECT_EQ(answer == 1, result == S_OK);
        return result;
    };
    graph->results["Render"] = {VFW_E_CANNOT_RENDER, S_OK, E_FAIL};
    EXPECT_EQ(reason(filter), S_OK);
    graph->results["Render"] = {E_FAIL, E_ABORT, VFW_E_CANNOT_RENDER};
    EXPECT_EQ(reason(filter), VFW_E_CANNOT_RENDER);
    filter->results["EnumPins"] = E_ACCESSDENIED;
    EXPECT_EQ(reason(filter), E_ACCESSDENIED);
    EXPECT_EQ(reason(AddTo(graph, "R", {In()})), E_FAIL);
    EXPECT_EQ(reason(nullptr), E_POINTER);
}

// ---- TryLinkRenderToFilter ------------------------------------------------------------------

TEST_F(Rendering, EachInputSearchesAfresh) {
    const auto splitter = AddTo(graph, "S", {Out(Audio()), Out(Video()), Out(fakes::Text())});
    const auto render = AddTo(graph, "R", {In(Video()), In(Audio()), In(Stream())});
    EXPECT_EQ(LinkRender(render, splitter), 1);
    EXPECT_EQ(counters.linked, 2u);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 0}));
    EXPECT_EQ(CallsOf("graph.Connect*"),
              (Lines{"graph.Connect(S.Out1, R.In1)", "graph.Connect(S.Out2, R.In1)",
                     "graph.Connect(S.Out1, R.In2)", "graph.Connect(S.Out3, R.In3)"}));
    EXPECT_EQ(LinkRender(render, splitter), 0);
    EXPECT_EQ(counters.linked, 0u);
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 0, 0}));
    EXPECT_EQ(TryLinkRenderToFilter(graph.Get(), render.Get(), splitter.Get(), nullptr, nullptr,
                                    nullptr, nullptr),
              0);
    // A link of another kind counts as a link alone.
    EXPECT_EQ(LinkRender(AddTo(graph, "M", {In(Major(MEDIATYPE_Midi))}),
                         AddTo(graph, "N", {Out(Major(MEDIATYPE_Midi))})),
              1);
    EXPECT_EQ(counters.linked, 1u);
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 0, 0}));
}

TEST_F(Rendering, ALinkWithoutAPeerDoesNotCount) {
    const auto source = AddTo(graph, "S", {Out(Video()), Out(Video())});
    const auto render = AddTo(graph, "R", {In(Video())});
    graph->results["Connect"] = {S_OK, S_OK};
    graph->onConnect = [](FakePin&, FakePin&) { return S_OK; }; // says so, and does nothing
    EXPECT_EQ(LinkRender(render, source), 0);
    EXPECT_EQ(CallsOf("graph.Connect*").size(), 2u); // the next candidate was tried
    EXPECT_EQ(RenderSource(source, {render.Get()}), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 0, 0}));
    graph->onConnect = nullptr;
}

// ---- TryRenderSource ------------------------------------------------------------------------

TEST_F(Rendering, SourceIsPreparedWithItsRenderers) {
    const auto source = MakeFilter("S", {Out(Video())});
    const auto render = MakeFilter("R", {In(Video())});
    AddFilterToGraphBuilderCache(&graph->config, render.Get());
    Calls();
    EXPECT_EQ(RenderSource(source, {render.Get(), nullptr}), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 0, 0}));
    EXPECT_EQ(
        Calls(),
        (Lines{"config.RemoveFilterFromCache(S)", "S.QueryFilterInfo", "graph.AddFilter(S, null)",
               "config.RemoveFilterFromCache(R)", "R.QueryFilterInfo", "graph.AddFilter(R, null)",
               // the wanted inputs
               "R.EnumPins", "R.In1.ConnectedTo", "R.In1.QueryDirection",
               // the walk
               "S.EnumPins", "S.Out1.QueryDirection", "S.Out1.ConnectedTo", "S.Out1.ConnectedTo",
               "graph.Connect(S.Out1, R.In1)", "R.In1.ConnectedTo", "S.Out1.ConnectionMediaType"}));
    EXPECT_EQ(GetIUnknownRef(render.Get()), 3); // test, graph, the pin that feeds it
}

TEST_F(Rendering, SourceFeedsEachInputFromTheTop) {
    const auto splitter =
        AddTo(graph, "S", {In(Stream()), Out(Audio()), Out(Stream()), Out(Video())});
    const auto video = AddTo(graph, "V", {In(Video())});
    const auto sound = AddTo(graph, "A", {In(Audio())});
    EXPECT_EQ(RenderSource(splitter, {video.Get(), sound.Get()}), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 0}));
    // After the audio is linked the walk starts again: the stream pin, which fed nothing,
    // stays a candidate.
    EXPECT_EQ(Journal::Get().Count("S.EnumPins"), 2u);
    EXPECT_EQ(CallsOf("graph.Connect*"),
              (Lines{"graph.Connect(S.Out1, V.In1)", "graph.Connect(S.Out1, A.In1)",
                     "graph.Connect(S.Out2, V.In1)", "graph.Connect(S.Out3, V.In1)"}));
    EXPECT_EQ(graph->Connections(), (Lines{"S.Out1 -> A.In1", "S.Out3 -> V.In1"}));
    // All inputs are linked: nothing is walked.
    EXPECT_EQ(RenderSource(splitter, {video.Get(), sound.Get()}), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 0, 0}));
    EXPECT_EQ(Journal::Get().Count("S.EnumPins"), 0u);
}

TEST_F(Rendering, SourceFindsFiltersThatConnectingInserted) {
    // The splitter that the first link brings in has a second output.
    const auto source = AddTo(graph, "S", {Out(Stream())});
    const auto video = AddTo(graph, "V", {In(Video())});
    const auto sound = AddTo(graph, "A", {In(Audio())});
    const auto titles = AddTo(graph, "T", {In(fakes::Text())});
    graph->transforms.push_back(
        MakeFilter("Splitter", {In(Stream()), Out(Audio()), Out(fakes::Text()), Out(Video())}));
    EXPECT_EQ(RenderSource(source, {video.Get(), sound.Get(), titles.Get()}), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 1}));
    EXPECT_EQ(graph->Connections(), (Lines{"S.Out1 -> Splitter.In1", "Splitter.Out1 -> A.In1",
                                           "Splitter.Out2 -> T.In1", "Splitter.Out3 -> V.In1"}));
    EXPECT_EQ(Tracks(source), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 1}));
}

TEST_F(Rendering, SourceIsNotTouchedWithoutRenderers) {
    EXPECT_EQ(RenderSource(MakeFilter("S", {Out(Video())}), {}), 0);
    EXPECT_EQ(counters.Kinds(), (Kinds{77, 77, 77}));
    EXPECT_TRUE(Calls().empty());
}

// ---- GetLinkedTrackNum ----------------------------------------------------------------------

TEST_F(Rendering, TracksAreCountedByThePinThatReachedTheRenderer) {
    const auto source = AddTo(graph, "S", {Out(Stream())});
    const auto splitter = AddTo(graph, "P", {In(Stream()), Out(Video()), Out(Audio()), Out()});
    const auto decoder = AddTo(graph, "D", {In(Video()), Out(Video())});
    const auto video = AddTo(graph, "V", {In(Video())});
    const auto sound = AddTo(graph, "A", {In(Audio())});
    Chain({source.Get(), splitter.Get(), decoder.Get(), video.Get()});
    Join(splitter->OutPin(1), sound->InPin());
    EXPECT_EQ(Tracks(source), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 0}));
    // Output pins are followed without being asked whether they are connected.
    EXPECT_EQ(
        Calls(),
        (Lines{"S.EnumPins", "S.Out1.QueryDirection", "S.Out1.ConnectedTo",
               // the splitter, whose free output leads nowhere
               "P.In1.QueryPinInfo", "P.EnumPins", "P.In1.QueryDirection", "P.Out1.QueryDirection",
               "P.Out2.QueryDirection", "P.Out3.QueryDirection", "P.Out3.ConnectedTo",
               // the sound
               "P.Out2.ConnectedTo", "A.In1.QueryPinInfo", "A.EnumPins", "A.In1.QueryDirection",
               "P.Out2.ConnectionMediaType",
               // the picture
               "P.Out1.ConnectedTo", "D.In1.QueryPinInfo", "D.EnumPins", "D.In1.QueryDirection",
               "D.Out1.QueryDirection", "D.Out1.ConnectedTo", "V.In1.QueryPinInfo", "V.EnumPins",
               "V.In1.QueryDirection", "D.Out1.ConnectionMediaType"}));
    EXPECT_EQ(Tracks(video), 1); // the start filter is never counted
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 0, 0}));
    EXPECT_EQ(GetLinkedTrackNum(graph.Get(), source.Get(), nullptr, nullptr, nullptr), 1);
}

TEST_F(Rendering, ARendererOnTwoPathsCountsTwice) {
    const auto source = AddTo(graph, "S", {Out(Video()), Out(Audio())});
    const auto render = AddTo(graph, "R", {In(Video()), In(Audio())});
    Join(source->OutPin(0), render->InPin(0));
    Join(source->OutPin(1), render->InPin(1));
    EXPECT_EQ(Tracks(source), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{1, 1, 0}));
    source->OutPin(0).results["ConnectionMediaType"] = E_FAIL;
    EXPECT_EQ(Tracks(source), 1);
    EXPECT_EQ(counters.Kinds(), (Kinds{0, 1, 0}));
}

// ---- TrySourceFilter ------------------------------------------------------------------------

TEST_F(Rendering, SourceFilterIsGivenThePathAlone) {
    const auto source = MakeFilter("S", {});
    EXPECT_EQ(TrySourceFilter(std::wstring(L"a.avi"), source.Get()), 0);
    EXPECT_EQ(toolkit::LoadSourceFile(L"a.avi", source.Get()), E_NOINTERFACE);
    source->AcceptFiles();
    EXPECT_EQ(TrySourceFilter(std::wstring(L"a.avi"), source.Get()), 1);
    EXPECT_EQ(TrySourceFilter(std::string("\xBE\xB2.avi"), source.Get()), 1);
    EXPECT_EQ(source->fileSource.path, L"静.avi");
    EXPECT_JOURNAL({"S.Load(a.avi, 0)", "S.Load(*.avi, 0)"});
    Journal::Get().SetKinds(kCall | kQueryCall);
    EXPECT_EQ(TrySourceFilter(std::wstring(), source.Get()), 0);
    EXPECT_EQ(TrySourceFilter(std::string(), source.Get()), 0);
    EXPECT_EQ(toolkit::LoadSourceFile(L"", source.Get()), E_INVALIDARG);
    EXPECT_TRUE(Calls().empty());
    source->AcceptFiles(VFW_E_UNSUPPORTED_STREAM);
    EXPECT_EQ(toolkit::LoadSourceFile(L"a.avi", source.Get()), VFW_E_UNSUPPORTED_STREAM);
    EXPECT_EQ(toolkit::LoadSourceFile(L"a.avi", nullptr), E_POINTER);
}

} // namespace
