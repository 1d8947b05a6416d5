// Play, pause, stop and step: the calls, their order, the states and the results.

#include "media_play.h"

using namespace media_tests;

namespace {

const HWND kWindow = reinterpret_cast<HWND>(0x123456); // of nobody

class MediaPlayback : public MediaTest {};

using Operation = int (*)(Media&);
constexpr Operation kPlay = [](Media& m) { return m.Play(); };
constexpr Operation kPause = [](Media& m) { return m.Pause(); };
constexpr Operation kStop = [](Media& m) { return m.Stop(); };
constexpr Operation kWhenReady = [](Media& m) { return m.StopWhenReady(); };
constexpr Operation kStep = [](Media& m) { return m.StepFrame(); };
constexpr Operation kCanStep = [](Media& m) { return m.CanStep(); };
const char* const kShow = "window.put_Visible(-1)";
const char* const kHide = "window.put_Visible(0)";
const char* const kRewind = "seeking.SetPositions(0, 1, null, 0)";
const char* const kOneFrame = "step.Step(1, null)";
const char* const kAskForStep = "step.CanStep(0, null)";

TEST_F(MediaPlayback, OperationsByState) {
    const struct {
        Operation operation;
        std::int32_t from;
        HWND window;
        Lines calls;
        std::int32_t to;
    } cases[] = {
        {kPlay, 0, nullptr, {"control.Run"}, 2},
        {kPlay, 0, kWindow, {"control.Run", kShow}, 2},
        {kPlay, 1, kWindow, {"control.Run", kShow}, 2},
        {kPlay, 2, kWindow, {}, 2},
        {kPause, 0, kWindow, {}, 0},
        {kPause, 1, kWindow, {}, 1},
        {kPause, 2, kWindow, {"control.Pause"}, 1},
        {kStop, 0, nullptr, {"control.Stop", kRewind}, 0},
        {kStop, 1, kWindow, {"control.Stop", kHide, kRewind}, 0},
        {kStop, 2, kWindow, {"control.Stop", kHide, kRewind}, 0},
        {kWhenReady, 0, nullptr, {"control.StopWhenReady"}, 0},
        {kWhenReady, 2, nullptr, {"control.StopWhenReady"}, 2},
        {kStep, 0, nullptr, {kOneFrame}, 0},
        {kStep, 1, nullptr, {kOneFrame}, 1},
        {kStep, 2, nullptr, {"control.Pause", kOneFrame}, 1},
        {kCanStep, 2, nullptr, {kAskForStep}, 2},
    };
    Media media(nullptr);
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
    Media media(nullptr);
    Loaded(media);
    media.m_playWindow = kWindow;
    ResultTable& control = Graph().control.results;
    ResultTable& step = Graph().step.results;
    const struct {
        ResultTable& results;
        const char* method;
        std::int32_t state;
        Operation operation;
        Lines calls;
        HRESULT result = E_FAIL;
    } cases[] = {
        {control, "Run", 0, kPlay, {"control.Run"}},
        {control, "Run", 1, kPlay, {"control.Run", kShow}, S_FALSE},
        {control, "Pause", 2, kPause, {"control.Pause"}},
        {control, "Stop", 2, kStop, {"control.Stop"}},
        {control, "StopWhenReady", 2, kWhenReady, {"control.StopWhenReady"}},
        {step, "Step", 1, kStep, {kOneFrame}},
        {step, "CanStep", 1, kCanStep, {kAskForStep}},
        {step, "CanStep", 1, kCanStep, {kAskForStep}, S_FALSE},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        Bring(media, item.state);
        item.results[item.method] = item.result;
        EXPECT_EQ(item.operation(media), SUCCEEDED(item.result));
        EXPECT_EQ(journal.Take(), item.calls);
        EXPECT_TRUE(SUCCEEDED(item.result) || media.m_playState == item.state);
        item.results.Clear();
    }
    EXPECT_EQ(log.Take(),
              Lines({"16 ymdshow::CMedia::Play: DShow Run Failed : " + std::string(kPath)}));
    // A pause that fails does not keep the step from being tried.
    Bring(media, 2);
    control["Pause"] = E_FAIL;
    EXPECT_EQ(media.StepFrame(), 1);
    EXPECT_JOURNAL({"control.Pause", kOneFrame});
    Graph().step.present = false;
    EXPECT_EQ(media.StepFrame(), 0);
    EXPECT_EQ(media.CanStep(), 0);
    EXPECT_EQ(media.m_playState, 2);
    EXPECT_JOURNAL({});
    EXPECT_EQ(Graph().step.Refs(), 0U);
}

TEST_F(MediaPlayback, OnlyPlayNeedsNoLoadedItem) {
    Media media(nullptr);
    for (const Operation operation : {kPlay, kPause, kStop, kWhenReady, kStep, kCanStep}) {
        EXPECT_EQ(operation(media), 0);
    }
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
    Media media(nullptr);
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
            EXPECT_EQ(media.IsStopped(), item.counts && state == 0);
            EXPECT_EQ(media.IsPaused(), item.counts && state == 1);
            EXPECT_EQ(media.IsPlaying(), item.counts && state == 2);
            EXPECT_EQ(journal.Take(), Lines(4, "control.GetState(500)"));
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
    Media media(nullptr);
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

} // namespace
