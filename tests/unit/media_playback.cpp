// Play, pause, stop and step: the calls, their order, the states and the results.

#include "media_play.h"

using namespace media_tests;

namespace {

const HWND kWindow = reinterpret_cast<HWND>(0x123456); // of nobody

class MediaPlayback : public MediaTest {};

TEST_F(MediaPlayback, OperationsByState) {
    using Operation = int (*)(PlayMedia&);
    const Operation play = [](PlayMedia& m) { return m.Play(); };
    const Operation pause = [](PlayMedia& m) { return m.Pause(); };
    const Operation stop = [](PlayMedia& m) { return m.Stop(); };
    const Operation whenReady = [](PlayMedia& m) { return m.StopWhenReady(); };
    const Operation step = [](PlayMedia& m) { return m.StepFrame(); };
    const Operation canStep = [](PlayMedia& m) { return m.CanStep(); };
    const char* const show = "window.put_Visible(-1)";
    const char* const hide = "window.put_Visible(0)";
    const char* const rewind = "seeking.SetPositions(0, 1, null, 0)";
    const char* const oneFrame = "step.Step(1, null)";
    const struct {
        Operation operation;
        std::int32_t from;
        HWND window;
        Lines calls;
        std::int32_t to;
    } cases[] = {
        {play, 0, nullptr, {"control.Run"}, 2},
        {play, 0, kWindow, {"control.Run", show}, 2},
        {play, 1, kWindow, {"control.Run", show}, 2},
        {play, 2, kWindow, {}, 2},
        {pause, 0, kWindow, {}, 0},
        {pause, 1, kWindow, {}, 1},
        {pause, 2, kWindow, {"control.Pause"}, 1},
        {stop, 0, nullptr, {"control.Stop", rewind}, 0},
        {stop, 1, kWindow, {"control.Stop", hide, rewind}, 0},
        {stop, 2, kWindow, {"control.Stop", hide, rewind}, 0},
        {whenReady, 0, nullptr, {"control.StopWhenReady"}, 0},
        {whenReady, 2, nullptr, {"control.StopWhenReady"}, 2},
        {step, 0, nullptr, {oneFrame}, 0},
        {step, 1, nullptr, {oneFrame}, 1},
        {step, 2, nullptr, {"control.Pause", oneFrame}, 1},
        {canStep, 2, nullptr, {"step.CanStep(0, null)"}, 2},
    };
    PlayMedia media(nullptr);
    Loaded(media);
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        media.m_playWindow = item.window;
        Bring(media, item.from);
        EXPECT_EQ(item.operation(media), 1);
        EXPECT_EQ(journal.Take(), item.calls);
        EXPECT_EQ(media.m_playState, item.to);
        EXPECT_EQ(media.m_hEventThread, nullptr) << "no callback, no loop";
    }
    // The window is shown for a picture only.
    media.m_playWindow = kWindow;
    const std::uint32_t tracks = std::exchange(media.m_videoTrackNum, 0);
    Bring(media, 0);
    media.Play();
    media.Stop();
    EXPECT_EQ(journal.Count("window.*"), 0U);
    media.m_videoTrackNum = tracks;
    EXPECT_EQ(log.Lines(), Lines());
}

TEST_F(MediaPlayback, RefusalsKeepTheStateAndEndTheOperation) {
    PlayMedia media(nullptr);
    Loaded(media);
    media.m_playWindow = kWindow;
    FakeGraph& graph = Graph();
    const auto refuse = [&](auto& facet, const char* method, std::int32_t from, auto&& operation,
                            const Lines& calls, HRESULT result = E_FAIL) {
        SCOPED_TRACE(method);
        Bring(media, from);
        facet.results[method] = result;
        EXPECT_EQ(operation(), FAILED(result) ? 0 : 1);
        facet.results.Clear();
        EXPECT_EQ(journal.Take(), calls);
    };
    refuse(graph.control, "Run", 0, [&] { return media.Play(); }, {"control.Run"});
    EXPECT_EQ(media.m_playState, 0);
    EXPECT_EQ(log.Take(),
              Lines({"16 ymdshow::CMedia::Play: DShow Run Failed : " + std::string(kPath)}));
    refuse(
        graph.control, "Run", 1, [&] { return media.Play(); },
        {"control.Run", "window.put_Visible(-1)"}, S_FALSE);
    refuse(graph.control, "Pause", 2, [&] { return media.Pause(); }, {"control.Pause"});
    EXPECT_EQ(media.m_playState, 2);
    refuse(graph.control, "Stop", 2, [&] { return media.Stop(); }, {"control.Stop"});
    EXPECT_EQ(media.m_playState, 2);
    refuse(graph.control, "StopWhenReady", 2, [&] { return media.StopWhenReady(); },
           {"control.StopWhenReady"});
    refuse(graph.step, "Step", 1, [&] { return media.StepFrame(); }, {"step.Step(1, null)"});
    refuse(graph.step, "CanStep", 1, [&] { return media.CanStep(); }, {"step.CanStep(0, null)"});
    refuse(
        graph.step, "CanStep", 1, [&] { return media.CanStep(); }, {"step.CanStep(0, null)"},
        S_FALSE);
    // A pause that fails does not keep the step from being tried.
    graph.control.results["Pause"] = E_FAIL;
    refuse(
        graph.step, "Step", 2, [&] { return media.StepFrame(); },
        {"control.Pause", "step.Step(1, null)"}, S_OK);
    graph.control.results.Clear();
    graph.step.present = false;
    Bring(media, 2);
    EXPECT_EQ(media.StepFrame(), 0);
    EXPECT_EQ(media.CanStep(), 0);
    EXPECT_EQ(media.m_playState, 2);
    EXPECT_JOURNAL({});
    EXPECT_EQ(graph.step.Refs(), 0U);
    EXPECT_EQ(log.Lines(), Lines());
}

TEST_F(MediaPlayback, OnlyPlayNeedsNoLoadedItem) {
    PlayMedia media(nullptr);
    EXPECT_EQ(media.Play(), 0); // no path
    EXPECT_EQ(media.Pause(), 0);
    EXPECT_EQ(media.Stop(), 0);
    EXPECT_EQ(media.StopWhenReady(), 0);
    EXPECT_EQ(media.StepFrame(), 0);
    EXPECT_EQ(media.CanStep(), 0);
    EXPECT_EQ(media.GetPlayState(), 0);
    EXPECT_EQ(media.IsPlaying() + media.IsPaused() + media.IsStopped(), 0);
    EXPECT_JOURNAL({});
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    EXPECT_EQ(media.Play(), 1);
    EXPECT_EQ(media.IsReadyForPlay(), 1);
    EXPECT_EQ(media.m_playState, 2);
    EXPECT_EQ(media.Unload(), 1);
    EXPECT_EQ(media.m_playState, 0);
    graphs.FailNext(E_OUTOFMEMORY);
    EXPECT_EQ(media.Play(), 0);
    EXPECT_EQ(media.m_playState, 0);
}

TEST_F(MediaPlayback, StateQuestionsAskTheGraph) {
    PlayMedia media(nullptr);
    Loaded(media);
    ControlFacet& control = Graph().control;
    const struct {
        Answer answer;
        bool counts;
    } answers[] = {{Do(S_OK), true}, {Do(VFW_S_STATE_INTERMEDIATE), true}, {Do(E_FAIL), false}};
    for (const long state : {0L, 1L, 2L}) {
        for (const auto& item : answers) {
            control.state = state;
            control.results["GetState"] = item.answer;
            EXPECT_EQ(media.GetPlayState(), state); // whatever was written
            const int stopped = media.IsStopped();
            const int paused = media.IsPaused();
            const int playing = media.IsPlaying();
            EXPECT_EQ(stopped, item.counts && state == 0);
            EXPECT_EQ(paused, item.counts && state == 1);
            EXPECT_EQ(playing, item.counts && state == 2);
            EXPECT_JOURNAL({"control.GetState(500)", "control.GetState(500)",
                            "control.GetState(500)", "control.GetState(500)"});
        }
    }
    control.results.Clear();
    EXPECT_EQ(media.m_playState, 0) << "the item's own state is another matter";
    // GetPlayState does without the graph manager, the others do not.
    control.state = 2;
    IGraphBuilder* const graph = std::exchange(media.m_pGB, nullptr);
    EXPECT_EQ(media.GetPlayState(), 2);
    EXPECT_EQ(media.IsPlaying(), 0);
    media.m_pGB = graph;
}

TEST_F(MediaPlayback, StopRewindsToTheClip) {
    configure = [](FakeGraph& graph) {
        graph.seeking.durations[TIME_FORMAT_MEDIA_TIME] = 29 * kSecond;
    };
    PlayMedia media(nullptr);
    Loaded(media);
    ASSERT_EQ(media.TimeClip(10 * kSecond, 20 * kSecond), 1);
    Bring(media, 2);
    journal.Clear();
    EXPECT_EQ(media.Stop(), 1);
    EXPECT_JOURNAL({"control.Stop", "seeking.GetCapabilities", "control.GetState(500)",
                    "seeking.GetTimeFormat", "seeking.GetDuration",
                    "seeking.SetPositions(100000000, 1, 200000000, 1)", "control.Stop"});
    ASSERT_EQ(media.TimeClip(0, 0), 1);
    EXPECT_EQ(Graph().seeking.stop, 29 * kSecond - 1);
    Bring(media, 1);
    journal.Clear();
    media.Stop();
    EXPECT_JOURNAL({"control.Stop", "seeking.SetPositions(0, 1, null, 0)"});
}

TEST_F(MediaPlayback, StoredSettingsComeBackWithTheNextLoad) {
    PlayMedia media(nullptr);
    Loaded(media);
    media.TimeClip(kSecond, 2 * kSecond);
    media.SetLoop(1);
    media.Unload();
    EXPECT_EQ(media.GetClipDuration(), kSecond);
    journal.Clear();
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_TRUE(journal.InOrder({"seeking.SetPositions(10000000, 1, 20000000, 1)", "control.Stop",
                                 "graph.SetDefaultSyncSource", "window.put_MessageDrain(0)"}));
    EXPECT_EQ(media.m_hEventThread, nullptr);
    ASSERT_EQ(media.Play(), 1);
    EXPECT_NE(media.m_hEventThread, nullptr);
}

} // namespace
