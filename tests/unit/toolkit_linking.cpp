// Linking, rendering and track counting over a fake graph, and the cache's reference counting.
#include "toolkit_support.h"

using namespace toolkit_test;

namespace {

using Counts = std::vector<unsigned int>;

class Linking : public ToolkitTest {
protected:
    // The answer, then video, audio, text and links; 7 where nothing was counted.
    Counts Counted(int answer) {
        const Counts counts{static_cast<unsigned int>(answer), n[0], n[1], n[2], n[3]};
        std::fill_n(n, 4, 7u);
        return counts;
    }
    Counts RenderSource(FakeFilter& source, std::vector<IBaseFilter*> renders) {
        return Counted(TryRenderSource(graph.Get(), &source, renders, n, n + 1, n + 2));
    }
    Counts Tracks(FakeFilter& source) {
        return Counted(GetLinkedTrackNum(graph.Get(), &source, n, n + 1, n + 2));
    }
    Counts LinkRender(FakeFilter& render, FakeFilter& source) {
        return Counted(
            TryLinkRenderToFilter(graph.Get(), &render, &source, n + 3, n, n + 1, n + 2));
    }
    unsigned int n[4] = {7, 7, 7, 7};
};

TEST_F(Linking, PinIsConnectedUnlessItIsAlready) {
    FakePin& out = Add("A", {Out()}).OutPin();
    FakeFilter& b = Add("B", {In(), In()});
    const std::pair<HRESULT, int> cases[] = {
        {VFW_S_PARTIAL_RENDER, 1}, {S_FALSE, 0}, {VFW_S_DUPLICATE_NAME, 0}, {E_FAIL, 0}, {S_OK, 1}};
    for (const auto& [result, linked] : cases) {
        Part(out);
        graph->results["Connect"] = Do(result);
        EXPECT_EQ(LinkPin(graph.Get(), &out, &b.InPin(0)), linked) << std::hex << result;
    }
    graph->results.Clear();
    journal.Clear();
    EXPECT_EQ(LinkPin(graph.Get(), &out, &b.InPin(0)), 1);
    // Elsewhere connected: tried, and refused by the graph. Success without a peer is none.
    EXPECT_EQ(LinkPin(graph.Get(), &out, &b.InPin(1)), 0);
    out.results["ConnectedTo"] = Skip(S_OK);
    EXPECT_EQ(LinkPin(graph.Get(), &out, &b.InPin(0)), 0);
    EXPECT_EQ(journal.Matching("graph.*"),
              (Lines{"graph.Connect(A.Out1, B.In2)", "graph.Connect(A.Out1, B.In1)"}));
}

TEST_F(Linking, FiltersByEveryPair) {
    FakeFilter& up = Add("U", {Out(Video()), Out(Stream()), Out(Audio()), Out(Video())});
    FakeFilter& down = Add("D", {In(Audio()), In(Video()), In(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), &up, &down), 1);
    // No input is free any more, so nothing is tried.
    EXPECT_EQ(LinkFilter(graph.Get(), &up, &down), 0);
    EXPECT_EQ(journal.Matching("graph.*"),
              (Lines{"graph.Connect(U.Out1, D.In1)", "graph.Connect(U.Out1, D.In2)",
                     "graph.Connect(U.Out2, D.In1)", "graph.Connect(U.Out2, D.In3)",
                     "graph.Connect(U.Out3, D.In1)", "graph.Connect(U.Out4, D.In3)"}));
}

TEST_F(Linking, FilterIntoItsGraph) {
    FakeFilter& filter = Add("F", {In(Video()), In(Audio()), Out(Video())});
    FakeFilter& render = Add("R", {In(Video()), In(Text())});
    FakeFilter& source = Add("S", {Out(Video()), Out(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), &filter), 1);
    EXPECT_EQ(graph->Connections(), (Lines{"F.Out1 -> R.In1", "S.Out1 -> F.In1"}));
    EXPECT_TRUE(journal.InOrder({"graph.Connect(S.Out1, F.In1)", "graph.Connect(F.Out1, R.In1)"}));
    // Outputs are linked only while an input is free, and only if one was linked.
    FakeFilter& full = Add("L", {In(Video()), Out(Text())});
    EXPECT_EQ(LinkFilter(graph.Get(), &full), 1);
    FakeFilter& lonely = Add("X", {In(Audio()), Out(Text())});
    EXPECT_EQ(LinkFilter(graph.Get(), &lonely), 0);
    EXPECT_FALSE(full.OutPin().IsConnected() || lonely.OutPin().IsConnected());
    // Whatever was fetched keeps a reference: by two passes, by the one and a bit, by the one.
    ledger.ExpectLeak(source, 2 + 1 + 1);
    ledger.ExpectLeak(render, 2 + 1 + 1);
    ledger.ExpectLeak(filter, 2 + 0 + 1);
    ledger.ExpectLeak(full, 2 + 1);
    ledger.ExpectLeak(lonely, 1);
}

TEST_F(Linking, UnlinkPinTakesThePeerFirst) {
    FakePin& out = Add("A", {Out()}).OutPin();
    FakePin& in = Add("B", {In()}).InPin();
    EXPECT_EQ(UnlinkPin(graph.Get(), &in), 1); // nothing to do
    in.results["ConnectedTo"] = {S_OK};        // without a peer
    EXPECT_EQ(UnlinkPin(graph.Get(), &in), 1);
    // Both ends are told, whichever refuses.
    graph->results["Disconnect"] = {E_FAIL, S_OK, S_OK, E_FAIL, S_OK, S_OK};
    for (const int answer : {0, 0, 1}) {
        Part(out);
        Part(in);
        Join(out, in);
        EXPECT_EQ(UnlinkPin(graph.Get(), &in), answer);
        EXPECT_EQ(journal.Matching("graph.*"),
                  (Lines{"graph.Disconnect(A.Out1)", "graph.Disconnect(B.In1)"}));
        journal.Clear();
    }
    EXPECT_FALSE(out.IsConnected() || in.IsConnected());
}

TEST_F(Linking, UnlinkGraphGoesInputByInputTheLastFirst) {
    FakeFilter& source = Add("S", {Out(), Out()});
    FakeFilter& a = Add("A", {In(), Out()});
    FakeFilter& mixer = Add("M", {In(), In()});
    Join(source.OutPin(0), a.InPin());
    Join(source.OutPin(1), mixer.InPin(1));
    Join(a.OutPin(), mixer.InPin(0));
    graph->results["Disconnect"] = {E_FAIL, E_FAIL}; // does not stop it
    EXPECT_EQ(UnlinkGraphBuilder(graph.Get()), 1);
    EXPECT_EQ(
        journal.Matching("graph.Disconnect*"),
        (Lines{"graph.Disconnect(S.Out1)", "graph.Disconnect(A.In1)", "graph.Disconnect(S.Out2)",
               "graph.Disconnect(M.In2)", "graph.Disconnect(A.Out1)", "graph.Disconnect(M.In1)"}));
}

TEST_F(Linking, LeavingTheCacheDropsTheReferenceThatItHeld) {
    for (const int delta : {-1, 0, 1, 2}) { // what the cache does to the count on removal
        const auto filter = MakeFilter("F", {});
        filter->AddRef(); // so that one too few is told and harms nothing
        EXPECT_EQ(AddFilterToGraphBuilderCache(&graph->config, filter.Get()), 1);
        EXPECT_EQ(GetIUnknownRef(filter.Get()), 3);
        graph->config.removeRefDelta = delta;
        // The second time it is no longer cached, which is success too.
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(RemoveFilterFromGraphBuilderCache(&graph->config, filter.Get()), 1);
            EXPECT_EQ(GetIUnknownRef(filter.Get()), 2) << delta;
        }
        ledger.ExpectLeak(*filter.Get());
    }
}

TEST_F(Linking, RenderedFilterComesOutOfTheCacheIntoTheGraph) {
    const auto filter = MakeFilter("F", {In(), Out(Video()), Out(Audio())});
    AddFilterToGraphBuilderCache(&graph->config, filter.Get());
    journal.Clear();
    EXPECT_EQ(RenderFilter(graph.Get(), filter.Get()), 1);
    EXPECT_JOURNAL({"config.RemoveFilterFromCache(F)", "F.QueryFilterInfo",
                    "graph.AddFilter(F, null)", "F.EnumPins", "F.In1.QueryDirection",
                    "F.Out1.QueryDirection", "F.Out1.ConnectedTo", "graph.Render(F.Out1)",
                    "F.Out2.QueryDirection", "F.Out2.ConnectedTo", "graph.Render(F.Out2)"});
    // In the graph already, and linked: unlinked and rendered again.
    EXPECT_EQ(RenderFilter(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(journal.Matching("graph.*").size(), 6u); // two disconnections and a rendering each
    EXPECT_EQ(RemoveFilterFromGraphBuilder(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(AddFilterToGraphBuilder(graph.Get(), filter.Get(), L"name"), 1);
    EXPECT_EQ(journal.Count("graph.AddFilter(F, name)"), 1u);
}

TEST_F(Linking, EachInputOfARendererSearchesAfresh) {
    FakeFilter& splitter = Add("S", {Out(Audio()), Out(Video()), Out(Text())});
    FakeFilter& render = Add("R", {In(Video()), In(Audio()), In(Stream())});
    EXPECT_EQ(LinkRender(render, splitter), (Counts{1, 1, 1, 0, 2}));
    EXPECT_EQ(journal.Matching("graph.Connect*"),
              (Lines{"graph.Connect(S.Out1, R.In1)", "graph.Connect(S.Out2, R.In1)",
                     "graph.Connect(S.Out1, R.In2)", "graph.Connect(S.Out3, R.In3)"}));
    EXPECT_EQ(LinkRender(render, splitter), (Counts{0, 0, 0, 0, 0}));
    // Of another kind: a link and no more.
    const MediaType midi = Major(MEDIATYPE_Midi);
    EXPECT_EQ(LinkRender(Add("N", {In(midi)}), Add("M", {Out(midi)})), (Counts{1, 0, 0, 0, 1}));
    // A peer that comes with another success code does not count.
    FakeFilter& last = Add("T", {In(Text())});
    last.InPin().results["ConnectedTo"] = {VFW_E_NOT_CONNECTED, S_FALSE};
    EXPECT_EQ(LinkRender(last, splitter), (Counts{0, 0, 0, 0, 0}));
}

TEST_F(Linking, SourceFeedsEachInputFromTheTop) {
    // The splitter that the first link brings in has more outputs. After each link the walk
    // starts again, so that pins which fed nothing stay candidates.
    FakeFilter& source = Add("S", {Out(Stream()), Out(Major(MEDIATYPE_Midi))});
    FakeFilter& video = Add("V", {In(Video())});
    FakeFilter& sound = Add("A", {In(Audio())});
    FakeFilter& titles = Add("T", {In(Text())});
    graph->transforms.push_back(
        MakeFilter("P", {In(Stream()), Out(Audio()), Out(Text()), Out(Video())}));
    EXPECT_EQ(RenderSource(source, {}), (Counts{0, 7, 7, 7, 7}));
    EXPECT_EQ(RenderSource(source, {&video, &sound, &titles}), (Counts{1, 1, 1, 1, 7}));
    EXPECT_EQ(journal.Matching("graph.Connect*"),
              (Lines{"graph.Connect(S.Out1, V.In1)", "graph.Connect(S.Out2, A.In1)",
                     "graph.Connect(S.Out2, T.In1)", "graph.Connect(P.Out1, A.In1)",
                     "graph.Connect(S.Out2, T.In1)", "graph.Connect(P.Out2, T.In1)"}));
    EXPECT_EQ(Tracks(source), (Counts{1, 1, 1, 1, 7}));
    // All inputs are linked: nothing is walked.
    journal.Clear();
    EXPECT_EQ(RenderSource(source, {&video, &sound}), (Counts{1, 0, 0, 0, 7}));
    EXPECT_EQ(journal.Count("S.EnumPins"), 0u);
}

TEST_F(Linking, TracksAreCountedByThePinThatReachedTheRenderer) {
    FakeFilter& source = Add("S", {Out(Video()), Out(Stream())});
    FakeFilter& decoder = Add("D", {In(Stream()), Out(Audio()), Out(Audio())});
    FakeFilter& render = Add("R", {In(Video()), In(Audio())});
    Join(source, render);
    Join(source, decoder);
    Join(decoder, render);
    EXPECT_EQ(Tracks(source), (Counts{1, 1, 1, 0, 7})); // the renderer on two paths counts twice
    EXPECT_EQ(Tracks(render), (Counts{1, 0, 0, 0, 7})); // the start is never counted
}

TEST_F(Linking, SourceFilterIsGivenThePathAlone) {
    FakeFilter& source = Add("S", {});
    EXPECT_EQ(TrySourceFilter(std::wstring(L"a.avi"), &source), 0);
    source.AcceptFiles();
    EXPECT_EQ(TrySourceFilter(std::wstring(L"a.avi"), &source), 1);
    EXPECT_EQ(TrySourceFilter(std::string("\xBE\xB2.avi"), &source), 1);
    EXPECT_JOURNAL({"S.Load(a.avi, 0)", "S.Load(静.avi, 0)"});
    journal.SetKinds(kCall | kQueryCall);
    EXPECT_EQ(TrySourceFilter(std::wstring(), &source), 0);
    EXPECT_EQ(TrySourceFilter(std::string(), &source), 0);
    EXPECT_JOURNAL({});
}

} // namespace
