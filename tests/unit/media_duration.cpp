// The duration of a loaded item: what the graph says, and what is made of it.

#include "media_play.h"

using namespace media_tests;

namespace {

const GUID kMediaTime = TIME_FORMAT_MEDIA_TIME;
const GUID kFrames = TIME_FORMAT_FRAME;
const GUID kSamples = TIME_FORMAT_SAMPLE;

class MediaDuration : public MediaTest {};

TEST_F(MediaDuration, ReadFromTheGraph) {
    const std::string read = "seeking.GetDuration";
    const std::string time = "seeking.SetTimeFormat(MEDIA_TIME)";
    const std::string frame = "seeking.SetTimeFormat(FRAME)";
    const std::string isTime = "seeking.IsUsingTimeFormat(MEDIA_TIME)";
    const std::string isFrame = "seeking.IsUsingTimeFormat(FRAME)";
    const std::string isSample = "seeking.IsUsingTimeFormat(SAMPLE)";
    const struct {
        Formats formats;
        Lines calls; ///< after GetCapabilities and GetTimeFormat
        std::int64_t duration;
        std::int64_t frames;
    } cases[] = {
        {{}, {read, frame, isTime}, 10 * kSecond, 0},
        {{kMediaTime, true, true}, {read, frame, read, isTime, time}, 10 * kSecond, 250},
        {{kFrames, true, true}, {read, time, read, isFrame, frame}, 10 * kSecond, 250},
        {{kFrames, false, true}, {read, time, isFrame}, 0, 250},
        {{kSamples, false, false}, {time, frame, isSample}, 0, 0},
        {{GUID_NULL, true, true}, {time, read}, 10 * kSecond, 0},
        {{GUID_NULL, false, true}, {time}, 0, 0},
    };
    Media media(nullptr);
    Loaded(media);
    SeekingFacet& seeking = Graph().seeking;
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        item.formats.Apply(seeking);
        media.m_durationBySeeking = 77;
        media.m_frameCount = 0;
        media._ReadAndSetByIMediaSeeking();
        EXPECT_EQ(journal.Take(),
                  (Lines{"seeking.GetCapabilities", "seeking.GetTimeFormat"} + item.calls));
        EXPECT_EQ(media.m_durationBySeeking, item.duration);
        EXPECT_EQ(media.m_frameCount, item.frames);
    }
    seeking.capabilities = AM_SEEKING_CanSeekAbsolute;
    media.m_durationBySeeking = 77;
    media._ReadAndSetByIMediaSeeking();
    EXPECT_JOURNAL({"seeking.GetCapabilities"});
    EXPECT_EQ(media.m_durationBySeeking, 77);
}

TEST_F(MediaDuration, AReloadAsksTheNewGraph) {
    Media media(nullptr);
    configure = [](FakeGraph& graph) { Formats{kFrames, true, true}.Apply(graph.seeking); };
    Loaded(media);
    EXPECT_EQ(media.GetOriginalDuration(), 10 * kSecond);
    EXPECT_EQ(media.m_frameCount, 250);
    media.Unload();
    configure = [](FakeGraph& graph) { graph.seeking.capabilities = AM_SEEKING_CanSeekAbsolute; };
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(media.GetOriginalDuration(), 0);
    EXPECT_EQ(media.m_frameCount, 0);
    EXPECT_TRUE(media.IsLiveStream());
    media.Unload();
    configure = nullptr;
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_FALSE(media.IsLiveStream());
}

TEST_F(MediaDuration, ChosenFromThree) {
    constexpr std::int64_t kWrap = std::int64_t{1} << 32;
    const struct {
        std::int64_t seeking, container, stream, chosen;
    } cases[] = {
        {100 * kSecond, 130 * kSecond, 131 * kSecond, 130 * kSecond},
        {100 * kSecond, 129 * kSecond, 131 * kSecond, 100 * kSecond},
        {100 * kSecond, 130 * kSecond - 1, 131 * kSecond, 100 * kSecond},
        {100 * kSecond, 131 * kSecond, 130 * kSecond, 130 * kSecond},
        {100 * kSecond, 70 * kSecond, 69 * kSecond, 70 * kSecond},
        {100 * kSecond, 70 * kSecond + 1, 0, 100 * kSecond},
        {100 * kSecond, 0, 0, 0}, // two that know nothing outvote the graph
        {20 * kSecond, 0, 0, 20 * kSecond},
        {100 * kSecond, 50 * kSecond, 500 * kSecond, 100 * kSecond}, // itself the median
        {0, 5, 7, 7},
        {0, 7, 5, 7},
        {-1, 0, 0, 0},
        // The difference counts by its low 32 bits, with a sign.
        {100 * kSecond, 100 * kSecond + kWrap, 900 * kSecond, 100 * kSecond},
        {100 * kSecond, 130 * kSecond + kWrap, 900 * kSecond, 130 * kSecond + kWrap},
        {100 * kSecond, 100 * kSecond + kWrap - 299'999'999, 900 * kSecond, 100 * kSecond},
        {100 * kSecond, 350 * kSecond, 900 * kSecond, 350 * kSecond},
        {100 * kSecond, 100 * kSecond + kWrap / 2, 900 * kSecond, 100 * kSecond},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        Media media(nullptr);
        media.m_durationBySeeking = item.seeking;
        media.m_durationByMediaInfo = item.container;
        media.m_videoInfos.resize(1);
        media.m_videoInfos[0].sourceDuration = item.stream;
        media.m_videoInfos[0].duration = 12345; // not looked at
        media.m_originalVideoTrackNum = 1;
        media._CheckAndSetDuration();
        EXPECT_EQ(media.GetOriginalDuration(), item.chosen);
        EXPECT_FALSE(media.IsLiveStream());
    }
}

TEST_F(MediaDuration, StreamDurationIsTheLongerOfTheFirstEnabledTracks) {
    Media media(nullptr);
    Loaded(media);
    media.m_durationBySeeking = 0;
    media.m_durationByMediaInfo = 0;
    media.m_videoInfos.resize(1);
    media.m_audioInfos.resize(1);
    const struct {
        std::int64_t video, audio;
        std::uint32_t videoTracks, audioTracks;
        std::int64_t chosen;
    } cases[] = {
        {5, 9, 1, 1, 9}, {9, 5, 1, 1, 9}, {5, 9, 1, 0, 5}, {9, 5, 0, 1, 5}, {9, 5, 0, 0, 0}};
    for (const bool enabled : {true, false}) { // no enabled track counts as the first
        for (const auto& item : cases) {
            media.m_videoInfos[0].sourceDuration = item.video;
            media.m_audioInfos[0].sourceDuration = item.audio;
            media.m_originalVideoTrackNum = item.videoTracks;
            media.m_originalAudioTrackNum = item.audioTracks;
            media._CheckAndSetDuration();
            EXPECT_EQ(media.GetOriginalDuration(), item.chosen);
        }
        media.m_videoTracks[0]->enabled = !enabled;
        media.m_audioTracks[0]->enabled = !enabled;
    }
}

TEST_F(MediaDuration, OnlyAUrlWithoutADurationIsLive) {
    for (const bool isUrl : {true, false}) {
        for (const std::int64_t duration : {std::int64_t{0}, std::int64_t{1}}) {
            Media media(nullptr);
            media.m_isMediaPathURL = isUrl;
            media.m_durationByMediaInfo = duration;
            media._CheckAndSetDuration();
            EXPECT_EQ(media.IsLiveStream(), isUrl && duration == 0);
        }
    }
}

} // namespace
