// Positions and clips: time formats, the graph's state around a seek, what is stored.

#include "media_play.h"

using namespace media_tests;

namespace {

const char* const kGet = "seeking.GetTimeFormat";
const char* const kTime = "seeking.SetTimeFormat(MEDIA_TIME)";
const char* const kFrames = "seeking.SetTimeFormat(FRAME)";
const char* const kSamples = "seeking.SetTimeFormat(SAMPLE)";
const GUID kInFrames = TIME_FORMAT_FRAME;
const GUID kInSamples = TIME_FORMAT_SAMPLE;
constexpr std::int64_t kFrame = 400'000;

/// A graph's way with time formats, and what a seek does about it.
const struct Way {
    const char* name;
    Formats formats;
    std::int64_t frameTime;
    Lines before;
    std::int64_t unit; ///< of the positions set; 0 when none is
    Lines after;
    bool isNative = false; ///< a clip's end is kept within the duration
} kWays[] = {
    {"time", {}, kFrame, {kGet}, 1, {}, true},
    {"unknown", {GUID_NULL}, kFrame, {kGet, kTime}, 1, {}, true},
    {"unknown, no time", {GUID_NULL, false, true}, kFrame, {kGet, kTime}, 0, {}},
    {"frames", {kInFrames, false, true}, kFrame, {kGet}, kFrame, {}},
    {"frames of no time", {kInFrames, true, true}, 0, {kGet, kTime}, 1, {kFrames}},
    {"samples", {kInSamples, true, true}, kFrame, {kGet, kTime}, 1, {kSamples}},
    {"no time", {kInSamples, false, true}, kFrame, {kGet, kTime, kFrames}, kFrame, {kSamples}},
    {"no time at all", {kInSamples, false, true}, 0, {kGet, kTime}, 0, {}},
};

class MediaSeeking : public MediaTest {};

TEST_F(MediaSeeking, EveryFormatInEveryState) {
    Media media(nullptr);
    Loaded(media);
    const struct {
        std::int32_t state;
        Lines before;
        Lines after;
    } states[] = {{0, {"control.GetState(500)"}, {"control.Stop"}},
                  {1, {"control.GetState(500)"}, {}},
                  {2, {"control.GetState(500)", "control.Pause"}, {"control.Run"}}};
    for (const Way& way : kWays) {
        for (const auto& state : states) {
            SCOPED_TRACE(way.name + std::string(", state ") + std::to_string(state.state));
            Bring(media, state.state);
            way.formats.Apply(Graph().seeking);
            media.m_videoOriginalAvgFrameTime = way.frameTime;
            const auto position = [&](std::int64_t time) {
                return way.unit != 0 ? std::to_string(time / way.unit) : "none";
            };
            const auto expected = [&](const Lines& seek) {
                return state.before + way.before + (way.unit != 0 ? seek : Lines()) + way.after +
                       state.after;
            };
            EXPECT_EQ(media.SetMediaPosition(4 * kSecond + 1), 1);
            EXPECT_EQ(journal.Take(), expected({"seeking.SetPositions(" +
                                                position(4 * kSecond + 1) + ", 1, null, 0)"}));

            EXPECT_EQ(media.TimeClip(2 * kSecond, 10 * kSecond), 1);
            EXPECT_EQ(media.GetClipEndTime(), 10 * kSecond);
            Lines clip;
            if (way.isNative) {
                clip = {"seeking.GetDuration"};
            }
            if (way.unit != 0) {
                clip.push_back("seeking.SetPositions(" + position(2 * kSecond) + ", 1, " +
                               std::to_string(10 * kSecond / way.unit - way.isNative) + ", 1)");
            }
            EXPECT_EQ(journal.Take(), Lines{"seeking.GetCapabilities"} + expected(clip));
            EXPECT_EQ(media.m_playState, state.state);
            EXPECT_EQ(Graph().control.state, state.state);

            // A refused position is told, and everything is put back all the same.
            Graph().seeking.results["SetPositions"] = E_FAIL;
            EXPECT_EQ(media.SetMediaPosition(0), way.unit == 0);
            EXPECT_EQ(media.TimeClip(0, 0), way.unit == 0);
            EXPECT_EQ(Graph().control.state, state.state);
            Graph().seeking.results.Clear();
            journal.Clear();
        }
    }
}

TEST_F(MediaSeeking, AFailedStateQueryPausesNothing) {
    Media media(nullptr);
    Loaded(media);
    ControlFacet& control = Graph().control;
    SeekingFacet& seeking = Graph().seeking;
    control.results["GetState"] = E_FAIL; // and writes nothing: taken for paused
    EXPECT_EQ(media.SetMediaPosition(kSecond), 1);
    EXPECT_JOURNAL({"control.GetState(500)", kGet, "seeking.SetPositions(10000000, 1, null, 0)"});
    control.state = 2;
    control.results["GetState"] = Do(E_FAIL); // the state that it wrote is restored
    EXPECT_EQ(media.SetMediaPosition(kSecond), 1);
    EXPECT_JOURNAL({"control.GetState(500)", kGet, "seeking.SetPositions(10000000, 1, null, 0)",
                    "control.Run"});
    // Where no position is set, the state query's is the result.
    seeking.OnlyFormat(TIME_FORMAT_SAMPLE, 1);
    media.m_videoOriginalAvgFrameTime = 0;
    EXPECT_EQ(media.SetMediaPosition(kSecond), 0);
    EXPECT_EQ(media.TimeClip(0, kSecond), 0);
    control.results["GetState"] = Do(VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(media.SetMediaPosition(kSecond), 1);
}

TEST_F(MediaSeeking, MissingInterfacesAndCapabilities) {
    Media media(nullptr);
    EXPECT_EQ(media.SetMediaPosition(0), 0);
    EXPECT_EQ(media.GetMediaPosition(), 0);
    EXPECT_EQ(media.TimeClip(3, 7), 1);
    EXPECT_EQ(media.GetClipStartTime(), 3);
    EXPECT_EQ(media.GetClipEndTime(), 7);
    Loaded(media);
    SeekingFacet& seeking = Graph().seeking;
    seeking.capabilities = AM_SEEKING_CanGetDuration;
    EXPECT_EQ(media.TimeClip(4, 8), 0);
    seeking.results["GetCapabilities"] = E_NOTIMPL;
    EXPECT_EQ(media.TimeClip(5, 9), 0);
    EXPECT_EQ(media.GetClipStartTime(), 5);
    EXPECT_EQ(media.GetClipDuration(), 4);
    EXPECT_JOURNAL({"seeking.GetCapabilities", "seeking.GetCapabilities"});
    EXPECT_EQ(media.SetMediaPosition(1), 1) << "a position asks for no capability";
}

TEST_F(MediaSeeking, ClipBoundsAreStored) {
    constexpr std::int64_t kEnd = 10 * kSecond; // the graph's duration
    const struct {
        std::int64_t start, end, storedStart, storedEnd, stop;
    } cases[] = {
        {-5, 0, 0, kEnd, kEnd - 1},
        {30, 10, 10, 30, 30},
        {5, -1, 5, kEnd, kEnd - 1},
        {0, kEnd, 0, kEnd, kEnd - 1},
        {0, kEnd - 1, 0, kEnd - 1, kEnd - 1},
        {0, kEnd + 7, 0, kEnd + 7, kEnd - 1},
        {kEnd + 7, 0, kEnd, kEnd + 7, kEnd - 1}, // the end becomes the duration, then they swap
        {-1, 1, 0, 1, 1},
    };
    Media media(nullptr);
    Loaded(media);
    for (const auto& item : cases) {
        EXPECT_EQ(media.TimeClip(item.start, item.end), 1);
        EXPECT_EQ(media.GetClipStartTime(), item.storedStart);
        EXPECT_EQ(media.GetClipEndTime(), item.storedEnd);
        EXPECT_EQ(Graph().seeking.current, item.storedStart);
        EXPECT_EQ(Graph().seeking.stop, item.stop);
    }
    Graph().seeking.results["GetDuration"] = E_FAIL; // then the end is passed as it is
    EXPECT_EQ(media.TimeClip(0, kEnd), 1);
    EXPECT_EQ(Graph().seeking.stop, kEnd);
    // The item's own bounds as arguments, the wrong way round.
    media.TimeClip(10, 30);
    media.TimeClip(media.GetClipEndTime(), media.GetClipStartTime());
    EXPECT_EQ(media.GetClipStartTime(), 10);
    EXPECT_EQ(media.GetClipEndTime(), 30);
    EXPECT_EQ(media.SetMediaPosition(kEnd * 2), 1);
    EXPECT_EQ(Graph().seeking.current, kEnd * 2) << "a position is not bound to the clip";
}

TEST_F(MediaSeeking, PositionIsReadInMediaTime) {
    Media media(nullptr);
    Loaded(media);
    Graph().seeking.current = 42;
    EXPECT_EQ(media.GetMediaPosition(), 0);
    EXPECT_JOURNAL({}); // stopped: nobody is asked
    Bring(media, 1);
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        way.formats.Apply(Graph().seeking);
        Graph().seeking.current = 42;
        const bool taken = way.formats.takesTime;
        EXPECT_EQ(media.GetMediaPosition(), taken ? 42 : 0);
        const bool isMediaTime = way.before.size() == 1 && way.unit == 1;
        Lines calls{kGet};
        if (!isMediaTime) {
            calls.push_back(kTime);
        }
        if (taken) {
            calls = calls + Lines{"seeking.GetCurrentPosition"} + way.after;
        }
        EXPECT_EQ(journal.Take(), calls);
    }
}

} // namespace
