// Linking the whole graph, taking it apart, releasing it.

#include "media_graph.h"

using namespace media_tests;

namespace {

class MediaLinking : public MediaGraphTest {
protected:
    Media media{nullptr};

    std::string LinkLog() {
        std::string text;
        for (const std::string& line : log.Take()) {
            text += line.substr(line.rfind("All")) + "; ";
        }
        return text;
    }
};

TEST_F(MediaLinking, WithoutGraphOrLinkNothingIsDone) {
    EXPECT_EQ(media.LinkAllFilter(), 0);
    EXPECT_EQ(media.UnlinkAllFilter(), 0);
    Loaded(media);
    EXPECT_EQ(media.LinkAllFilter(), 1);
    media.m_isAllFilterLinked = false;
    EXPECT_EQ(media.UnlinkAllFilter(), 0);
    EXPECT_EQ(media.IsAllFilterLinked(), 0);
    EXPECT_EQ(journal.Lines(), Lines());
    EXPECT_EQ(log.Lines(), Lines());
}

TEST_F(MediaLinking, SchemeRenderersFirstThenTheGraphsOwn) {
    const std::string connect = "graph.Connect(Source.Out1, VR.In1)";
    const Lines fallBack{connect, "graph.Disconnect(Source.Out1)", "graph.Disconnect(VR.In1)",
                         "graph.Render(Source.Out1)", "graph.Render(Source.Out2)"};
    const struct {
        const char* what;
        std::uint32_t videos, audios;
        HRESULT render;
        int result;
        Lines changes;
    } cases[] = {
        {"all kinds that are known", 1, 0, S_OK, 1, {connect}},
        {"none are known", 0, 0, E_FAIL, 1, {connect}},
        {"sound is missing", 1, 1, S_OK, 1, fallBack},
        {"in part", 1, 1, VFW_S_PARTIAL_RENDER, 1, fallBack},
        {"neither way", 1, 1, VFW_E_CANNOT_RENDER, 0, fallBack},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        scheme.UnloadScheme();
        Describe("mkv", "VR", {In(fakes::Video())});
        LoadWith(media);
        ASSERT_EQ(media.UnlinkAllFilter(), 1);
        EXPECT_EQ(Graph().Connections(), Lines());
        EXPECT_TRUE(Graph().Contains(Graph().Find("VR")));
        media.m_originalVideoTrackNum = test.videos;
        media.m_originalAudioTrackNum = test.audios;
        Graph().results["Render"] = test.render;
        journal.Clear();
        log.Clear();
        EXPECT_EQ(media.LinkAllFilter(), test.result);
        EXPECT_EQ(Changes(), test.changes);
        EXPECT_EQ(media.IsAllFilterLinked(), test.result);
        EXPECT_EQ(LinkLog(), std::string("AllFilter ") + (test.result ? "OK" : "FAILED") + " : " +
                                 kPath + "; ");
        media.Unload();
    }
}

TEST_F(MediaLinking, DisabledTracksStayOutOfARelink) {
    sourcePins = {Out(fakes::Video(640, 360)), Out(fakes::Audio(44100)), Out(fakes::Audio(44100))};
    configure = RenderThroughDecoders;
    Loaded(media);
    ASSERT_TRUE(media.DisableAudioTrack(0));
    ASSERT_TRUE(media.DisableVideoTrack(0));
    const Lines before = Graph().Connections();
    ASSERT_EQ(before, Lines({"Dec2.Out1 -> Ren2.In1", "Source.Out2 -> Dec2.In1"}));
    EXPECT_EQ(media.m_audioTracks[0]->brokenLinks.size(), 2U);
    ASSERT_EQ(media.UnlinkAllFilter(), 1);
    EXPECT_TRUE(media.m_audioTracks[0]->brokenLinks.empty()); // of a graph that is no more
    EXPECT_FALSE(media.m_audioTracks[1]->linked);
    EXPECT_TRUE(media.m_audioTracks[1]->enabled);

    journal.Clear();
    ASSERT_EQ(media.LinkAllFilter(), 1);
    EXPECT_EQ(Graph().Connections(), before);
    // Pictures first, then sound.
    EXPECT_TRUE(journal.InOrder({"graph.Render(Source.Out3)", "graph.Disconnect(Ren1.In1)",
                                 "graph.Disconnect(Dec1.In1)", "graph.Disconnect(Ren3.In1)",
                                 "graph.Disconnect(Dec3.In1)"}));
    EXPECT_EQ(media.m_audioTracks[0]->brokenLinks.size(), 2U);
    EXPECT_TRUE(media.EnableVideoTrack(0) && media.EnableAudioTrack(0));
    EXPECT_EQ(Graph().Connections().size(), 6U);
}

TEST_F(MediaLinking, UnlinkGoesBreadthFirstWhateverFails) {
    sourcePins = {Out(fakes::Video(640, 360)), Out(fakes::Audio(44100))};
    configure = RenderThroughDecoders;
    const Lines cut{"graph.Disconnect(Source.Out1)", "graph.Disconnect(Dec1.In1)",
                    "graph.Disconnect(Source.Out2)", "graph.Disconnect(Dec2.In1)",
                    "graph.Disconnect(Dec1.Out1)",   "graph.Disconnect(Ren1.In1)",
                    "graph.Disconnect(Dec2.Out1)",   "graph.Disconnect(Ren2.In1)"};
    for (const HRESULT disconnect : {S_OK, E_FAIL}) {
        Loaded(media);
        ASSERT_EQ(media.Play(), 1);
        journal.Clear();
        log.Clear();
        Graph().results["Disconnect"] = disconnect;
        EXPECT_EQ(media.UnlinkAllFilter(), 1);
        EXPECT_TRUE(journal.InOrder({"control.GetState(500)", "control.Stop", cut[0]}));
        EXPECT_EQ(Changes(), cut);
        EXPECT_EQ(media.IsAllFilterLinked(), 0);
        EXPECT_EQ(media.IsLoaded(), 1);
        EXPECT_EQ(LinkLog(), std::string("AllFilter : ") + kPath + "; ");
        EXPECT_EQ(Graph().FilterCount(), 5U);
        media.Unload();
    }
    // A peer that does not tell its filter is disconnected all the same, and not passed.
    Loaded(media);
    Graph().Find("Dec1")->InPin().results["QueryPinInfo"] = E_FAIL;
    Graph().control.results["GetState"] = E_FAIL; // not known to play: not stopped
    EXPECT_EQ(media.UnlinkAllFilter(), 1);
    EXPECT_EQ(journal.Count("control.Stop"), 0U);
    EXPECT_EQ(Changes(), Lines({cut[0], cut[1], cut[2], cut[3], cut[6], cut[7]}));
}

TEST_F(MediaLinking, TeardownReleasesInOrderAndReportsWhoIsHeld) {
    Describe("mkv", "S", {Out(fakes::Stream())}, [](FakeFilter& f) { f.AcceptFiles(); });
    Describe("mkv", "Dec", {In(fakes::Stream()), Out(fakes::Video())});
    Describe("mkv", "VR", {In(fakes::Video())});
    for (const bool held : {false, true}) {
        LoadWith(media);
        ASSERT_EQ(Graph().Connections(), Lines({"Dec.Out1 -> VR.In1", "S.Out1 -> Dec.In1"}));
        std::vector<ComPtr<IBaseFilter>> holds;
        if (held) {
            holds = {Graph().Find("S"), Graph().Find("Dec"), Graph().Find("VR")};
        }
        ASSERT_EQ(media.Play(), 1);
        journal.Clear();
        media._FreeFilters();
        EXPECT_TRUE(journal.InOrder({"control.Stop", "events.SetNotifyWindow(0, 0, 0)",
                                     "window.put_Visible(0)", "window.put_Owner(0)", "Dec.EnumPins",
                                     "graph.Disconnect(S.Out1)", "graph.RemoveFilter(Dec)",
                                     "config.RemoveFilterFromCache(Dec)", "graph.RemoveFilter(VR)",
                                     "graph.RemoveFilter(S)"}));
        EXPECT_EQ(Warnings("_FreeFilters"),
                  held ? Lines({"Remove Filter Warning! RefCount : 1",
                                "Remove RenderFilter Warning! RefCount : 1",
                                "Remove Source Filter Warning! RefCount : 1"})
                       : Lines());
        EXPECT_EQ(Graph().FilterCount(), 0U);
        EXPECT_NE(media.m_pGB, nullptr);
        EXPECT_NE(media.m_pGraphConfig, nullptr);
        EXPECT_EQ(media.m_pMediaControl, nullptr);
        EXPECT_EQ(media.m_pSourceFilter, nullptr);
        EXPECT_EQ(media.m_playState, State_Stopped);
        EXPECT_EQ(media.GetVideoTrackNum(), 0U);
        media.Unload();
    }
}

TEST_F(MediaLinking, GraphAndCacheAreEmptiedFromTheFront) {
    Loaded(media);
    FakeGraph& graph = Graph();
    const ComPtr<FakeFilter> held = MakeFilter("Held", {In()});
    ASSERT_EQ(media._AddFilter(held.Get(), L"Held", 1), 1);
    ASSERT_EQ(media._AddFilter(MakeFilter("More", {In()}).Get(), L"More", 1), 1);
    journal.SetKinds(kCall | kEnumCall);
    journal.Clear();
    media._RemoveAllCachedFilterInGraphConfig();
    EXPECT_TRUE(graph.config.Cached().empty());
    EXPECT_TRUE(journal.InOrder({"config.EnumCacheFilter", "*.Next*",
                                 "config.RemoveFilterFromCache(Held)", "*.Reset", "*.Next*",
                                 "config.RemoveFilterFromCache(More)", "*.Reset", "*.Next*"}));
    EXPECT_EQ(held->Refs(), 1U);

    graph.Add(held.Get(), L"Held");
    media._FreeFilters();
    journal.Clear();
    log.Clear();
    media._RemoveAllFilterInGraphBuilder();
    EXPECT_EQ(graph.FilterCount(), 0U);
    EXPECT_TRUE(journal.InOrder({"graph.EnumFilters", "*.Next*", "graph.RemoveFilter(Held)",
                                 "*.Reset", "*.Next*", "graph.RemoveFilter(AudioRenderer2)",
                                 "*.Reset", "*.Next*", "graph.RemoveFilter(VideoRenderer1)"}));
    EXPECT_EQ(Warnings("_RemoveAllFilterInGraphBuilder"),
              Lines({"Remove Filter Warning! RefCount : 1"}));

    // Managers that refuse for ever do not keep the caller.
    graph.Add("Kept", {In()});
    ASSERT_EQ(media._AddFilter(held.Get(), L"Held", 1), 1);
    for (const HRESULT result : {E_FAIL, E_NOTIMPL}) {
        graph.results["RemoveFilter"] = result;
        graph.config.results["RemoveFilterFromCache"] = result;
        media._RemoveAllFilterInGraphBuilder();
        media._RemoveAllCachedFilterInGraphConfig();
        EXPECT_EQ(graph.FilterCount(), 1U);
        EXPECT_TRUE(graph.config.IsCached(held.Get()));
    }
    graph.results.Clear();
    graph.config.results.Clear();
    media._RemoveAllCachedFilterInGraphConfig();
    graph.results["EnumFilters"] = E_FAIL;
    graph.config.results["EnumCacheFilter"] = E_FAIL;
    media._RemoveAllFilterInGraphBuilder();
    media._RemoveAllCachedFilterInGraphConfig();
}

} // namespace
