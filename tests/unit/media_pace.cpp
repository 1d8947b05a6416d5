// Frame by frame, the rate, and a range that repeats.

#include "media_play.h"

using namespace media_tests;

namespace {

class MediaPace : public LoadedMedia {};

TEST_F(MediaPace, StepsBackAndAhead) {
    const std::tuple<LONGLONG, int, LONGLONG> steps[] = {
        // frames of 40 ms
        {4'100'000, -1, 3'700'000},
        {4'000'000, -1, 3'700'000}, // within a frame, on its border
        {3'999'999, 1, 4'499'999},
        {4'100'000, 10, 8'100'000},
        {4'100'000, -20, 100'000}};
    Graph().step.present = false;
    for (const auto& [from, frames, to] : steps) {
        Bring(State_Paused);
        Graph().seeking.current = from;
        EXPECT_EQ(media.StepFrames(frames), 1);
        EXPECT_EQ(Graph().seeking.current, to) << from;
    }
    EXPECT_EQ(media.StepFrames(-1) + media.StepFrames(0), 0); // at the first frame
    Graph().step.present = true;
    Bring(State_Running);
    EXPECT_EQ(media.StepFrames(2), 1);
    EXPECT_TRUE(journal.InOrder({"control.Pause", "step.Step(2, null)"}));
    Bring(State_Stopped);
    EXPECT_EQ(media.StepFrames(1), 0);
}

TEST_F(MediaPace, RateIsTheGraphs) {
    Bring(State_Running);
    Graph().seeking.current = kSecond;
    EXPECT_EQ(media.SetPlayRate(2), 1);
    EXPECT_TRUE(journal.InOrder({"seeking.SetRate(200)", "seeking.SetPositions(10000000, 1, *"}));
    std::int64_t position = -1;
    std::int64_t duration = -1;
    EXPECT_EQ(media.GetPositionAndDuration(&position, &duration), 1);
    EXPECT_TRUE(media.GetPlayRate() == 2 && position == kSecond && duration == 10 * kSecond);
    Graph().seeking.results["SetRate"] = E_NOTIMPL;
    EXPECT_EQ(media.SetPlayRate(3) + media.SetPlayRate(0), 0);
    EXPECT_EQ(media.GetPlayRate(), 2);
    media.Unload();
    EXPECT_EQ(media.SetPlayRate(1), 0);
    EXPECT_EQ(media.GetPositionAndDuration(&position, nullptr), 0);
}

TEST_F(MediaPace, RangeRepeatsUntilItIsEnded) {
    for (const bool hasSegments : {false, true}) {
        Graph().seeking.capabilities |= hasSegments ? AM_SEEKING_CanDoSegments : 0;
        const std::string flag = hasSegments ? "17" : "1";
        const std::string seek = "seeking.SetPositions(20000000, " + flag + ", 30000000, 1)";
        Bring(State_Running);
        EXPECT_EQ(media.SetLoopRange(2 * kSecond, 3 * kSecond), 1);
        EXPECT_TRUE(journal.InOrder({"control.Pause", seek, "control.Run"}));
        EXPECT_EQ(media.SetMediaPosition(25'000'000), 1); // within it
        EXPECT_EQ(journal.Count("seeking.SetPositions(25000000, " + flag + ", *"), 1U);
        // No source of these fakes repeats a segment by itself.
        for (const long code : {EC_COMPLETE, EC_END_OF_SEGMENT}) {
            journal.Clear();
            Graph().events.Push(code, 0, 0);
            for (int i = 0; i < 5000 && !journal.InOrder({"control.Stop", seek, "control.Run"});
                 ++i) {
                Sleep(1);
            }
            EXPECT_TRUE(journal.InOrder({"control.Stop", seek, "control.Run"})) << code;
        }
        EXPECT_EQ(media.Stop(), 1);
        EXPECT_EQ(Graph().seeking.current, 2 * kSecond);
        EXPECT_EQ(media.SetLoopRange(0, 0), 1);
        EXPECT_EQ(Graph().seeking.current, 0);
    }
    Graph().seeking.capabilities = 0;
    EXPECT_EQ(media.SetLoopRange(1, 2), 0);
}

TEST_F(MediaPace, LiveObjectsAreListedWhileTheyLive) {
    const ComPtr<FakeFilter> held = Graph().Find("VideoRenderer1");
    unsigned graphs = 0, filters = 0;
    for (const ymdshow::LiveObject& object : ymdshow::GetLiveObjects()) {
        EXPECT_EQ(object.item, &media);
        graphs += object.kind == ymdshow::LiveObject::Kind::Graph;
        filters += object.kind == ymdshow::LiveObject::Kind::Filter;
        if (object.address == static_cast<IBaseFilter*>(held.Get())) {
            EXPECT_EQ(object.references, held->Refs());
        }
    }
    EXPECT_TRUE(graphs == 1 && filters == 3);
    EXPECT_NE(ymdshow::LiveObjectsText().find(L"item test://host/clip.mkv"), std::wstring::npos);
    EXPECT_EQ(media.Unload(), 1);
    EXPECT_EQ(ymdshow::GetLiveObjects().size(), 1U);
}

} // namespace
