// Picture facts, rectangles, the play window, snapshots, playback without a clock.

#include "media_play.h"

#include <array>

using namespace media_tests;

namespace {

using Range = std::array<std::int32_t, 4>;

class MediaOutput : public MediaTest {};

/// The picture's record; width 0 for none.
void SetRecord(Media& media, std::int32_t width, std::int32_t height, float ratio,
               std::int64_t frameTime) {
    media.m_originalVideoTrackNum = width != 0 ? 1 : 0;
    media.m_videoInfos.resize(1);
    media.m_videoInfos[0].width = width;
    media.m_videoInfos[0].height = height;
    media.m_videoInfos[0].displayAspectRatio = ratio;
    media.m_videoInfos[0].avgFrameTime = frameTime;
}

TEST_F(MediaOutput, PictureSizeAndRatio) {
    const struct {
        long width, height;            ///< the graph's
        std::int32_t recordW, recordH; ///< the record's, 0 for no record
        float recordRatio;
        long wantedW, wantedH;
        float ratio;
        bool differs;
    } cases[] = {
        {640, 360, 0, 0, 0, 640, 360, 9.0F, true}, // without a record the ratio is left alone
        {1920, 1088, 0, 0, 0, 1920, 1080, 9.0F, true},
        {1918, 1088, 0, 0, 0, 1918, 1088, 9.0F, true},
        {641, 361, 0, 0, 0, 640, 360, 9.0F, true},
        {640, 360, 643, 357, -1, 640, 360, 640.0F / 360.0F, false}, // a small difference
        {640, 360, 644, 356, 0, 644, 356, 644.0F / 356.0F, false},  // a large one
        {0, 10000, 320, 9998, 1.0F, 320, 9998, 1.0F, true},
        {720, 576, 720, 576, 1.25F, 720, 576, 1.25F, false},
        {720, 576, 720, 576, 1.297F, 720, 576, 1.297F, false},
        {720, 576, 720, 576, 1.299F, 720, 576, 1.299F, true},
        {720, 576, 720, 576, 16.0F / 9.0F, 720, 576, 16.0F / 9.0F, true},
    };
    Media media(nullptr);
    Loaded(media);
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        Graph().video.source = {0, 0, item.width, item.height};
        SetRecord(media, item.recordW, item.recordH, item.recordRatio, 0);
        media.m_displayAspectRatio = 9.0F;
        media.m_enableDisplayAspectRatio = true;
        EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 1);
        EXPECT_EQ(media.GetVideoOriginalWidth(), item.wantedW);
        EXPECT_EQ(media.GetVideoOriginalHeight(), item.wantedH);
        EXPECT_FLOAT_EQ(media.GetDisplayAspectRatio(), item.ratio);
        EXPECT_EQ(media.IsEnableDisplayAspectRatio(), item.differs);
    }
    for (const char* method : {"get_SourceWidth", "get_SourceHeight"}) {
        Graph().video.results.Clear();
        Graph().video.results[method] = E_FAIL;
        EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 0);
    }
    EXPECT_EQ(Media(nullptr)._ReadAndSetByIBasicVideo(), 0);
}

TEST_F(MediaOutput, FrameTimeComparesATimeWithARate) {
    const struct {
        double seconds; ///< the graph's; negative when it does not know
        std::int64_t record;
        std::int64_t wanted;
    } cases[] = {
        {0.04, 0, 400'000},           {0.0333667, 0, 333'667},
        {0.04, 400'000, 400'000},     {0.04, 333'333, 333'333}, // 30 a second: the record wins
        {0.04, 4'950'000, 400'000},   // 2.04 a second, so close that the graph wins
        {0.5, 10'000'000, 5'000'000}, // 1 a second
        {-1, 333'333, 333'333},       {-1, 0, 77},
    };
    Media media(nullptr);
    Loaded(media);
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        VideoFacet& video = Graph().video;
        video.source = {0, 0, 640, 360};
        video.results.Clear();
        video.frameSeconds = item.seconds;
        if (item.seconds < 0) {
            video.results["get_AvgTimePerFrame"] = E_NOTIMPL;
        }
        SetRecord(media, 640, 360, 0, item.record);
        media.m_videoOriginalAvgFrameTime = 77;
        EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 1);
        EXPECT_EQ(media.GetVideoOiginalAvgFrameTime(), item.wanted);
    }
}

TEST_F(MediaOutput, RectanglesAreStoredAndCompleted) {
    Media media(nullptr);
    EXPECT_FALSE(media.SetVideoClipRange(1, 2, 3, 4)); // no picture yet: stored all the same
    EXPECT_FALSE(media.SetVideoDisplayRange(-5, 10000, 0, -8));
    Loaded(media);
    EXPECT_EQ(Graph().video.source, (VideoFacet::Rect{1, 2, 3, 4}));
    EXPECT_EQ(Graph().video.destination, (VideoFacet::Rect{0, 0, 640, 360}));
    const Range cases[][2] = {{{0, 0, 0, 0}, {0, 0, 640, 360}},
                              {{9999, 1, 9999, 1}, {9999, 1, 9999, 1}},
                              {{10000, -1, 10000, -1}, {0, 0, 640, 360}}};
    for (const auto& [given, completed] : cases) {
        Graph().video.source = {0, 0, 640, 360};
        std::copy(given.begin(), given.end(), media.m_videoClipRange);
        std::copy(given.begin(), given.end(), media.m_videoDisplayRange);
        ASSERT_EQ(media._ReadAndSetByIBasicVideo(), 1);
        EXPECT_EQ(std::to_array(media.m_videoClipRange), completed);
        EXPECT_EQ(std::to_array(media.m_videoDisplayRange), completed);
    }
    journal.Clear();
    EXPECT_TRUE(media.SetVideoClipRange(-1, -2, -3, -4)); // as given
    EXPECT_TRUE(media.SetVideoDisplayRange(5, 6, 7, 8));
    EXPECT_JOURNAL(
        {"video.SetSourcePosition(-1, -2, -3, -4)", "video.SetDestinationPosition(5, 6, 7, 8)"});
    Graph().video.results["SetSourcePosition"] = E_INVALIDARG;
    Graph().video.results["SetDestinationPosition"] = E_INVALIDARG;
    EXPECT_FALSE(media.SetVideoClipRange(11, 12, 13, 14));
    EXPECT_FALSE(media.SetVideoDisplayRange(21, 22, 23, 24));
    long clip[4] = {};
    long display[4] = {};
    media.GetVideoClipRange(&clip[0], nullptr, &clip[2], nullptr);
    media.GetVideoClipRange(nullptr, &clip[1], nullptr, &clip[3]);
    media.GetVideoDisplayRange(&display[0], &display[1], &display[2], &display[3]);
    EXPECT_EQ(std::to_array(clip), std::to_array({11L, 12L, 13L, 14L}));
    EXPECT_EQ(std::to_array(display), std::to_array({21L, 22L, 23L, 24L}));
}

TEST_F(MediaOutput, PlayWindow) {
    const HWND window = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", L"", WS_POPUP, 50, 60, 320,
                                        200, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    const std::string number = std::to_string(reinterpret_cast<std::intptr_t>(window));
    const Lines attached{"window.put_MessageDrain(" + number + ")", "window.put_Visible(0)",
                         "window.put_WindowStyle(1174405120)", "window.put_Owner(" + number + ")"};
    const Lines shown{"window.put_Visible(-1)", "window.SetWindowForeground(-1)"};
    const Lines hidden{"window.put_MessageDrain(0)", "window.put_Visible(0)",
                       "window.put_Owner(0)"};
    Media media(nullptr);
    media.SetPlayWindow(window); // kept for the load
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    const Lines whole = attached + Lines{"window.SetWindowPosition(0, 0, 320, 200)"} + shown;
    EXPECT_EQ(journal.Matching("window.*"), whole);
    journal.Clear();
    Graph().window.results["put_Owner"] = E_FAIL; // not looked at
    media.SetPlayWindow(window);
    EXPECT_EQ(journal.Take(), whole);
    Graph().window.results.Clear();
    media.SetPlayWindow(nullptr);
    EXPECT_EQ(journal.Take(), hidden);
    const std::uint32_t tracks = std::exchange(media.m_videoTrackNum, 0);
    media.SetPlayWindow(window); // no picture: only the messages go there
    EXPECT_EQ(journal.Take(), Lines({attached[0], "window.put_Visible(0)", "window.put_Owner(0)"}));
    media.m_videoTrackNum = tracks;
    DestroyWindow(window);
    media.SetPlayWindow(window);
    EXPECT_EQ(journal.Take(), attached + Lines{"window.SetWindowPosition(0, 0, 0, 0)"} + shown);
}

TEST_F(MediaOutput, Snapshots) {
    Media media(nullptr);
    long size = 100;
    std::array<BYTE, 8> buffer{};
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), &size), 0);
    EXPECT_EQ(media.GetCurrentImageDataSize(), 0);
    Loaded(media);
    Graph().video.image = {1, 2, 3, 4, 5};
    EXPECT_EQ(media.GetCurrentImageDataSize(), 5);
    EXPECT_EQ(media.GetCurrentImageData(nullptr, nullptr), 0);
    EXPECT_JOURNAL({"video.GetCurrentImage(0, 0)"});
    size = 7;
    EXPECT_EQ(media.GetCurrentImageData(nullptr, &size), 1);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), &size), 1);
    EXPECT_EQ(buffer, (std::array<BYTE, 8>{1, 2, 3, 4, 5}));
    size = 4;
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), &size), 0);
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), nullptr), 0);
    EXPECT_JOURNAL({"video.GetCurrentImage(7, 0)", "video.GetCurrentImage(5, 1)",
                    "video.GetCurrentImage(4, 1)", "video.GetCurrentImage(-1, 1)"});
    Graph().video.results["GetCurrentImage"] = Do(E_UNEXPECTED);
    EXPECT_EQ(media.GetCurrentImageDataSize(), 0);
}

TEST_F(MediaOutput, MainSwitchTakesTheClockAwayUnlessPlaying) {
    Media media(nullptr);
    media.SetAmain(1); // kept for the load
    EXPECT_EQ(media.IsAmain(), 1);
    Loaded(media);
    EXPECT_FALSE(Graph().mediaFilter.hasClock);
    media.SetAmain(0);
    media.SetAmain(7);
    EXPECT_JOURNAL({"control.GetState(500)", "graph.SetDefaultSyncSource", "control.GetState(500)",
                    "mediaFilter.SetSyncSource(null)"});
    EXPECT_EQ(media.IsAmain(), 7);
    Bring(media, 2);
    media.SetAmain(0);
    EXPECT_EQ(media.IsAmain(), 7);
    EXPECT_JOURNAL({"control.GetState(500)"});
    Bring(media, 1);
    media.SetAmain(0);
    EXPECT_EQ(media.IsAmain(), 0);
    EXPECT_JOURNAL({"control.GetState(500)", "graph.SetDefaultSyncSource"});
}

} // namespace
