// Positions, clips and durations: time formats, the graph's state around a seek, what is stored.

#include "media_play.h"

using namespace media_tests;

namespace {

const std::string kGet = "seeking.GetTimeFormat";
const std::string kTime = "seeking.SetTimeFormat(MEDIA_TIME)";
const std::string kFrames = "seeking.SetTimeFormat(FRAME)";
const std::string kSamples = "seeking.SetTimeFormat(SAMPLE)";
constexpr std::int64_t kFrame = 400'000;

/// A graph's way with time formats, and what a seek does about it.
const struct Way {
    GUID inUse;     ///< GUID_NULL: it will not say
    bool takesTime; ///< frames are always taken
    std::int64_t frameTime;
    Lines before;
    std::int64_t unit; ///< of the positions set; 0 when none is
    Lines after;
    bool isNative = false; ///< a clip's end is kept within the duration
} kWays[] = {
    {TIME_FORMAT_MEDIA_TIME, true, kFrame, {kGet}, 1, {}, true},
    {GUID_NULL, true, kFrame, {kGet, kTime}, 1, {}, true},
    {GUID_NULL, false, kFrame, {kGet, kTime}, 0, {}},
    {TIME_FORMAT_FRAME, false, kFrame, {kGet}, kFrame, {}},
    {TIME_FORMAT_FRAME, true, 0, {kGet, kTime}, 1, {kFrames}},
    {TIME_FORMAT_SAMPLE, true, kFrame, {kGet, kTime}, 1, {kSamples}},
    {TIME_FORMAT_SAMPLE, false, kFrame, {kGet, kTime, kFrames}, kFrame, {kSamples}},
    {TIME_FORMAT_SAMPLE, false, 0, {kGet, kTime}, 0, {}},
};

class MediaSeeking : public LoadedMedia {
protected:
    MediaSeeking() {
        sourcePins = {Out(fakes::Video(640, 360)), Out(fakes::Video(640, 360)),
                      Out(fakes::Audio(44100)), Out(fakes::Audio(44100))};
    }
    SeekingFacet& Seeking() { return Graph().seeking; }
    /// The graph is 10 s or 250 frames long.
    void Use(const Way& way) {
        Seeking().results.Clear();
        Seeking().OnlyFormat(way.inUse, 10 * kSecond);
        Seeking().results["GetTimeFormat"] = way.inUse == GUID_NULL ? E_FAIL : S_OK;
        if (way.takesTime) {
            Seeking().durations[TIME_FORMAT_MEDIA_TIME] = 10 * kSecond;
        }
        Seeking().SupportFrames();
        media.m_videoOriginalAvgFrameTime = way.frameTime;
    }
};

TEST_F(MediaSeeking, EveryFormatInEveryState) {
    const Lines query{"control.GetState(500)"};
    const Lines before[] = {query, query, query + Lines{"control.Pause"}};
    const Lines after[] = {{"control.Stop"}, {}, {"control.Run"}};
    for (const Way& way : kWays) {
        for (const int state : {0, 1, 2}) {
            SCOPED_TRACE(std::to_string(&way - kWays) + " in state " + std::to_string(state));
            Bring(state);
            Use(way);
            const auto set = [&](std::int64_t time, const std::string& rest) {
                const std::int64_t position = way.unit != 0 ? time / way.unit : 0;
                return "seeking.SetPositions(" + std::to_string(position) + ", 1, " + rest + ")";
            };
            const auto expected = [&](const Lines& seek) {
                return before[state] + way.before + (way.unit != 0 ? seek : Lines()) + way.after +
                       after[state];
            };
            EXPECT_EQ(media.SetMediaPosition(4 * kSecond + 1), 1);
            EXPECT_EQ(journal.Take(), expected({set(4 * kSecond + 1, "null, 0")}));

            EXPECT_EQ(media.TimeClip(2 * kSecond, 10 * kSecond), 1);
            const std::string end = way.isNative ? "99999999" : way.unit == 1 ? "100000000" : "250";
            const Lines clip{set(2 * kSecond, end + ", 1")};
            EXPECT_EQ(journal.Take(),
                      Lines{"seeking.GetCapabilities"} +
                          expected(way.isNative ? Lines{"seeking.GetDuration"} + clip : clip));

            // Read in media time, unless stopped.
            Use(way);
            Seeking().current = 42;
            const bool isRead = state != 0 && way.takesTime;
            EXPECT_EQ(media.GetMediaPosition(), isRead ? 42 : 0);
            const Lines get =
                way.inUse == TIME_FORMAT_MEDIA_TIME ? Lines{kGet} : Lines{kGet, kTime};
            EXPECT_EQ(journal.Take(),
                      (state != 0 ? get : Lines()) +
                          (isRead ? Lines{"seeking.GetCurrentPosition"} + way.after : Lines()));

            media.m_durationBySeeking = 77;
            media.m_frameCount = 0;
            Use(way);
            media._ReadAndSetByIMediaSeeking();
            const bool isKnown = way.inUse != GUID_NULL;
            EXPECT_EQ(media.m_durationBySeeking, way.takesTime ? 10 * kSecond : 0);
            EXPECT_EQ(media.m_frameCount, isKnown ? 250 : 0);
            EXPECT_EQ(journal.Count("seeking.GetDuration"), way.takesTime + isKnown + 0U);
            const GUID format = isKnown || !way.takesTime ? way.inUse : TIME_FORMAT_MEDIA_TIME;
            EXPECT_EQ(Seeking().format, format);

            // A refused position is told, and everything is put back all the same.
            for (const HRESULT result : {E_FAIL, kThrows}) {
                Seeking().results["SetPositions"] = result;
                EXPECT_EQ(media.SetMediaPosition(0), way.unit == 0);
                EXPECT_EQ(media.TimeClip(0, 0), way.unit == 0);
                EXPECT_TRUE(media.m_playState == state && Graph().control.state == state);
                EXPECT_EQ(Seeking().format, format);
            }
        }
    }
    // A failed state query pauses nothing; what it wrote is restored. Where no position is
    // set, it is the result.
    for (const Answer answer : {Answer(E_FAIL), Do(E_FAIL), Do(VFW_S_STATE_INTERMEDIATE)}) {
        const bool isKnown = SUCCEEDED(answer.result);
        Use(kWays[0]);
        journal.Clear();
        Graph().control.results["GetState"] = answer;
        EXPECT_EQ(media.SetMediaPosition(kSecond), 1);
        const Lines seek{kGet, "seeking.SetPositions(10000000, 1, null, 0)"};
        EXPECT_EQ(journal.Take(), before[isKnown ? 2 : 1] + seek + after[answer.act ? 2 : 1]);
        Use(kWays[7]);
        EXPECT_EQ(media.SetMediaPosition(kSecond), isKnown);
        EXPECT_EQ(media.TimeClip(0, kSecond), isKnown);
    }
}

TEST_F(MediaSeeking, ClipBoundsAreStored) {
    constexpr std::int64_t kEnd = 10 * kSecond; // the graph's duration
    const struct {
        std::int64_t start, end, storedStart, storedEnd, stop;
    } cases[] = {
        {-5, 0, 0, kEnd, kEnd - 1},
        {30, 10, 10, 30, 30},
        {5, -1, 5, kEnd, kEnd - 1},
        {0, kEnd + 7, 0, kEnd + 7, kEnd - 1},
        {kEnd + 7, 0, kEnd, kEnd + 7, kEnd - 1}, // the end becomes the duration, then they swap
        {-1, 1, 0, 1, 1},
    };
    const auto bounds = [&] { return std::pair(media.GetClipStartTime(), media.GetClipEndTime()); };
    const auto positions = [&] { return std::pair(Seeking().current, Seeking().stop); };
    for (const auto& [start, end, storedStart, storedEnd, stop] : cases) {
        EXPECT_EQ(media.TimeClip(start, end), 1);
        EXPECT_EQ(bounds(), std::pair(storedStart, storedEnd));
        EXPECT_EQ(media.GetClipDuration(), storedEnd - storedStart);
        EXPECT_EQ(positions(), std::pair(storedStart, stop));
        // To stop is to go back to the clip's start; without a clip its end is left alone.
        Seeking().current = Seeking().stop = 77;
        EXPECT_EQ(media.Stop(), 1);
        EXPECT_EQ(positions(), std::pair(storedStart, &start == &cases->start ? 77 : stop));
    }
    Seeking().results["GetDuration"] = E_FAIL; // then the end is passed as it is
    EXPECT_EQ(media.TimeClip(0, kEnd), 1);
    EXPECT_EQ(Seeking().stop, kEnd);
    // The item's own bounds as arguments, the wrong way round.
    media.TimeClip(10, 30);
    media.TimeClip(media.GetClipEndTime(), media.GetClipStartTime());
    EXPECT_EQ(bounds(), std::pair(10LL, 30LL));
    // Without the capability they are only stored; a position asks for none, and for no clip.
    journal.Clear();
    Seeking().capabilities = AM_SEEKING_CanGetDuration;
    EXPECT_EQ(media.TimeClip(4, 8), 0);
    Seeking().results["GetCapabilities"] = E_NOTIMPL;
    EXPECT_EQ(media.TimeClip(5, 9), 0);
    EXPECT_EQ(bounds(), std::pair(5LL, 9LL));
    EXPECT_JOURNAL({"seeking.GetCapabilities", "seeking.GetCapabilities"});
    EXPECT_EQ(media.SetMediaPosition(kEnd * 2), 1);
    EXPECT_EQ(Seeking().current, kEnd * 2);
}

TEST_F(MediaSeeking, DurationChosenFromThree) {
    constexpr std::int64_t kWrap = std::int64_t{1} << 32;
    constexpr std::int64_t k100 = 100 * kSecond;
    constexpr std::int64_t kLong = kWrap << 29;
    const struct {
        std::int64_t seeking, container, stream, chosen;
    } cases[] = {
        {k100, 130 * kSecond, 131 * kSecond, 130 * kSecond},
        {k100, 130 * kSecond - 1, 131 * kSecond, k100},
        {k100, 131 * kSecond, 130 * kSecond, 130 * kSecond},
        {k100, 70 * kSecond, 69 * kSecond, 70 * kSecond},
        {k100, 70 * kSecond + 1, 0, k100},
        {0, 5, 7, 7},
        {-1, 7, 5, 7},
        // The difference counts by its low 32 bits, with a sign.
        {k100, 130 * kSecond + kWrap, kLong, 130 * kSecond + kWrap},
        {k100, k100 + kWrap - 299'999'999, kLong, k100},
        {k100, 350 * kSecond, kLong, 350 * kSecond},
        {k100, k100 + kWrap / 2, kLong, k100},
        {k100, 0, 0, 0}, // two that know nothing outvote the graph
    };
    bool isLive = false; // for good
    for (const auto& item : cases) {
        for (std::size_t i = 0; i < 12; ++i) {
            SCOPED_TRACE(std::to_string(&item - cases) + ", " + std::to_string(i));
            const std::size_t enabled = i % 3; // none enabled counts as the first
            const std::size_t kind = i / 3;    // video, audio, or both, one a little less
            for (const std::size_t at : {0U, 1U}) {
                const bool isIt = at == enabled % 2;
                media.m_videoTracks[at]->enabled = media.m_audioTracks[at]->enabled = at == enabled;
                media.m_videoInfos[at].sourceDuration =
                    isIt && kind != 1 ? item.stream - (kind == 3) : kLong;
                media.m_audioInfos[at].sourceDuration =
                    isIt && kind != 0 ? item.stream - (kind == 2) : kLong;
            }
            media.m_originalVideoTrackNum = kind != 1 ? 2 : 0;
            media.m_originalAudioTrackNum = kind != 0 ? 2 : 0;
            media.m_durationBySeeking = item.seeking;
            media.m_durationByMediaInfo = item.container;
            media.m_isMediaPathURL = kind != 0;
            media._CheckAndSetDuration();
            EXPECT_EQ(media.GetOriginalDuration(), item.chosen);
            isLive = isLive || (kind != 0 && item.chosen == 0);
            EXPECT_EQ(media.IsLiveStream(), isLive);
        }
    }
    // The graph is only asked when it can tell.
    Seeking().capabilities = AM_SEEKING_CanSeekAbsolute;
    media.m_durationBySeeking = media.m_frameCount = 77;
    media._ReadAndSetByIMediaSeeking();
    EXPECT_EQ(media.m_durationBySeeking, 77);
}

} // namespace
