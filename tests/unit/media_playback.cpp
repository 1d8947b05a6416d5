// Play, pause, stop, step, volume and clock: the calls, their order, the states, the results.

#include "media_play.h"

using namespace media_tests;

namespace {

class MediaPlayback : public LoadedMedia {};

TEST_F(MediaPlayback, OperationsByState) {
    const Lines run{"control.Run", "window.put_Visible(-1)"};
    const Lines stop{"control.Stop", "window.put_Visible(0)",
                     "seeking.SetPositions(0, 1, null, 0)"};
    const Lines state{"control.GetState(500)"};
    const auto volume = [](long value) { return [=](Media& m) { return m.SetVolume(value); }; };
    const auto clock = [](int on) { return [=](Media& m) { return m.SetAmain(on), m.IsAmain(); }; };
    const struct {
        std::function<int(Media&)> operation;
        std::int32_t from, to;
        Lines calls;
        int answer = 1;
        const char* method = "none"; ///< answers this
        HRESULT result = E_FAIL;
    } cases[] = {
        {&Media::Play, 0, 2, run},
        {&Media::Play, 1, 2, run},
        {&Media::Play, 2, 2, {}},
        {&Media::Play, 0, 0, {"control.Run"}, 0, "Run"},
        {&Media::Play, 1, 2, run, 1, "Run", S_FALSE},
        {&Media::Play, 1, 1, {"control.Run"}, 0, "Run", kThrows},
        {&Media::Pause, 0, 0, {}},
        {&Media::Pause, 1, 1, {}},
        {&Media::Pause, 2, 1, {"control.Pause"}},
        {&Media::Pause, 2, 2, {"control.Pause"}, 0, "Pause"},
        {&Media::Stop, 0, 0, stop},
        {&Media::Stop, 2, 0, stop},
        {&Media::Stop, 2, 2, {"control.Stop"}, 0, "Stop"},
        {&Media::Stop, 1, 1, {"control.Stop"}, 0, "Stop", kThrows},
        {&Media::StopWhenReady, 2, 2, {"control.StopWhenReady"}},
        {&Media::StopWhenReady, 2, 2, {"control.StopWhenReady"}, 0, "StopWhenReady"},
        {&Media::StepFrame, 2, 1, {"control.Pause", "step.Step(1, null)"}},
        {&Media::StepFrame, 2, 2, {"control.Pause", "step.Step(1, null)"}, 1, "Pause"},
        {&Media::StepFrame, 1, 1, {"step.Step(1, null)"}, 0, "Step"},
        {&Media::CanStep, 2, 2, {"step.CanStep(0, null)"}},
        {&Media::CanStep, 1, 1, {"step.CanStep(0, null)"}, 1, "CanStep", S_FALSE},
        {&Media::CanStep, 1, 1, {"step.CanStep(0, null)"}, 0, "CanStep"},
        // Questions of the state are the graph's to answer.
        {&Media::IsStopped, 0, 0, state},
        {&Media::IsStopped, 0, 0, state, 0, "GetState"},
        {&Media::IsStopped, 0, 0, state, 0, "GetState", kThrows},
        {&Media::IsStopped, 2, 2, state, 0},
        {&Media::IsPaused, 1, 1, state},
        {&Media::IsPaused, 0, 0, state, 0},
        {&Media::IsPlaying, 2, 2, state, 1, "GetState", VFW_S_STATE_INTERMEDIATE},
        {&Media::IsPlaying, 1, 1, state, 0},
        {&Media::GetPlayState, 2, 2, state, 2, "GetState", VFW_S_STATE_INTERMEDIATE},
        // The clock goes, and comes again, but not while it plays.
        {clock(7), 0, 0, {state[0], "mediaFilter.SetSyncSource(null)"}, 7},
        {clock(0), 2, 2, state, 7},
        {clock(0), 1, 1, {state[0], "graph.SetDefaultSyncSource"}, 0},
        // A volume is sent when it changes something; muteness forgets the last.
        {volume(0), 0, 0, {}},
        {volume(-500), 0, 0, {"audio.put_Volume(-500)"}},
        {volume(-600), 0, 0, {"audio.put_Volume(-600)"}, 0, "put_Volume", kThrows},
        {&Media::MuteAudio, 0, 0, {"audio.put_Volume(-10000)"}, 0, "put_Volume"},
        {volume(-500), 0, 0, {}},
        {&Media::MuteAudio, 0, 0, {"audio.put_Volume(-10000)"}},
        {&Media::MuteAudio, 0, 0, {}},
        {volume(-10000), 0, 0, {"audio.put_Volume(-10000)"}},
        {&Media::ResumeAudio, 0, 0, {"audio.put_Volume(0)"}, 0, "put_Volume"},
        {volume(-10000), 0, 0, {"audio.put_Volume(-10000)"}},
        {&Media::ResumeAudio, 0, 0, {"audio.put_Volume(0)"}},
        {volume(0), 0, 0, {}},
        {volume(-10000), 0, 0, {"audio.put_Volume(-10000)"}},
        {volume(-10000), 0, 0, {"audio.put_Volume(-10000)"}},
        {volume(-700), 0, 0, {"audio.put_Volume(-700)"}},
        {&Media::ResumeAudio, 0, 0, {}},
    };
    media.m_playWindow = kWindow;
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        Bring(item.from);
        FakeGraph& graph = Graph();
        for (auto* table : {&graph.control.results, &graph.step.results, &graph.audio.results}) {
            (*table)[item.method] = {item.result}; // once
        }
        EXPECT_EQ(item.operation(media), item.answer);
        EXPECT_EQ(journal.Take(), item.calls);
        EXPECT_TRUE(media.m_playState == item.to && media.m_hEventThread == nullptr);
    }
    EXPECT_EQ(log.Take(),
              Lines(2, "16 ymdshow::CMedia::Play: DShow Run Failed : " + std::string(kPath)));
    media.m_videoTrackNum = 0; // the window is shown for a picture only
    Graph().step.present = false;
    EXPECT_TRUE(media.Play() && media.Stop());
    EXPECT_EQ(media.StepFrame() + media.CanStep(), 0);
    EXPECT_JOURNAL({"control.Run", stop[0], stop[2]});
    Graph().audio.results["get_Volume"] = E_FAIL;
    EXPECT_EQ(media.GetVolume(), -10000);
    Graph().control.results["GetState"] = Do(E_FAIL);
    Graph().control.state = 2;
    EXPECT_TRUE(media.GetPlayState() == 2 && media.IsPlaying() == 0) << "whatever was written";
    EXPECT_EQ(Graph().step.Refs() + Graph().audio.Refs(), 0U);
}

TEST_F(MediaPlayback, OnlyPlayNeedsNoLoadedItem) {
    media.Unload();
    EXPECT_EQ(media.GetPlayState() + media.IsPlaying() + media.IsPaused() + media.IsStopped(), 0);
    EXPECT_EQ(media.Pause() + media.Stop() + media.StopWhenReady(), 0);
    EXPECT_EQ(media.StepFrame() + media.CanStep() + Media(nullptr).Play(), 0);
    EXPECT_TRUE(media.SetVolume(0L) == 0 && media.GetVolume() == -10000);
    EXPECT_TRUE(media.Play() && media.IsReadyForPlay());
    EXPECT_EQ(journal.Count("window.put_Visible(-1)"), 0U) << "no window is set";
    media.Unload();
    graphs.FailNext(E_OUTOFMEMORY);
    EXPECT_TRUE(media.Play() == 0 && media.m_playState == 0);
    // All interfaces but the control may be missing.
    configure = [](FakeGraph& graph) {
        graph.mediaFilter.present = graph.seeking.present = graph.video.present = false;
        graph.audio.present = graph.events.present = graph.window.present = false;
    };
    media.SetPlayWindow(kWindow);
    EXPECT_EQ(media.Play(), 1);
    media.SetLoop(1);
    media.SetEventCallBackFun([](auto...) { return 0; }, nullptr);
    EXPECT_TRUE(media.m_hEventThread == nullptr && media.Pause() && media.TimeClip(3, 7));
    long size = 0;
    EXPECT_EQ(media.SetMediaPosition(1) + media.GetMediaPosition() + media.SetVolume(-1L), 0);
    EXPECT_EQ(media.GetCurrentImageDataSize() + media.GetCurrentImageData(nullptr, &size), 0);
    EXPECT_EQ(media.Stop(), 1);
    media.SetAmain(1);
    EXPECT_EQ(media.IsAmain(), 1);
}

} // namespace
