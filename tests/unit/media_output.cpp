// Picture and sound of a loaded item, and its filters as a host reaches them.

#include "media_play.h"

#include <array>
#include <cmath>

using namespace media_tests;

namespace {

class MediaOutput : public LoadedMedia {};

TEST_F(MediaOutput, PictureFacts) {
    const struct {
        long width, height;
        double seconds;                ///< a frame; negative when the graph does not know
        std::int32_t recordW, recordH; ///< 0 for no record
        float recordRatio;
        std::int64_t recordTime;
        std::tuple<long, long, float, bool, std::int64_t> facts;
    } cases[] = {
        // Without a record the ratio is left alone.
        {640, 360, 0.0333667, 0, 0, 0, 0, {640, 360, 9.0F, true, 333'667}},
        {1920, 1088, -1, 0, 0, 0, 0, {1920, 1080, 9.0F, true, 77}},
        {641, 361, 0.04, 0, 0, 0, 0, {640, 360, 9.0F, true, 400'000}},
        // A small difference, a large one. A frame's duration is compared with a rate: the
        // graph's wins where they are close.
        {640, 360, 0.04, 643, 357, -1, 333'333, {640, 360, 640.0F / 360, false, 333'333}},
        {640, 360, 0.04, 644, 356, 0, 4'950'000, {644, 356, 644.0F / 356, false, 400'000}},
        {0, 10000, 0.04, 320, 9998, 1, 4'900'000, {320, 9998, 1.0F, true, 4'900'000}},
        {720, 576, -1, 720, 0, 1.297F, 333'333, {720, 576, 1.297F, false, 333'333}},
        {720, 576, -1, 720, 576, 1.299F, 0, {720, 576, 1.299F, true, 77}},
        {720, 576, 0.04, 720, 576, 1.2F, 0, {720, 576, 1.2F, true, 400'000}},
    };
    VideoFacet& video = Graph().video;
    for (const auto& item : cases) {
        SCOPED_TRACE(&item - cases);
        video.source = {0, 0, item.width, item.height};
        video.frameSeconds = item.seconds;
        video.results["get_AvgTimePerFrame"] = item.seconds < 0 ? E_NOTIMPL : S_OK;
        media.m_originalVideoTrackNum = item.recordW != 0 ? 1 : 0;
        ymdshow::VideoInfo& record = media.m_videoInfos.front();
        record.width = item.recordW;
        record.height = item.recordH;
        record.displayAspectRatio = item.recordRatio;
        record.avgFrameTime = item.recordTime;
        media.m_displayAspectRatio = 9;
        media.m_enableDisplayAspectRatio = true;
        media.m_videoOriginalAvgFrameTime = 77;
        EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 1);
        EXPECT_EQ(std::tuple(media.GetVideoOriginalWidth(), media.GetVideoOriginalHeight(),
                             media.GetDisplayAspectRatio(), media.IsEnableDisplayAspectRatio(),
                             media.GetVideoOiginalAvgFrameTime()),
                  item.facts);
    }
    video.results["get_SourceHeight"] = {E_FAIL}; // once
    EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 0);
    video.results["get_SourceWidth"] = {E_FAIL};
    EXPECT_EQ(media._ReadAndSetByIBasicVideo(), 0);
}

TEST_F(MediaOutput, RectanglesAreStoredAndCompleted) {
    const std::pair<VideoFacet::Rect, VideoFacet::Rect> cases[] = {
        {{0, 0, 0, 0}, {0, 0, 640, 360}},
        {{9999, 1, 9999, 1}, {9999, 1, 9999, 1}},
        {{10000, -1, 10000, -1}, {0, 0, 640, 360}}};
    for (const auto& [given, completed] : cases) {
        VideoFacet& video = Graph().video;
        EXPECT_TRUE(media.SetVideoClipRange(given.left, given.top, given.width, given.height));
        EXPECT_TRUE(media.SetVideoDisplayRange(given.left, given.top, given.width, given.height));
        EXPECT_TRUE(video.source == given && video.destination == given);
        video.source = {0, 0, 640, 360};
        ASSERT_EQ(media._ReadAndSetByIBasicVideo(), 1);
        EXPECT_TRUE(video.source == completed && video.destination == completed);
    }
    Graph().video.results["SetSourcePosition"] = E_FAIL;
    Graph().video.results["SetDestinationPosition"] = E_FAIL;
    for (const bool isLoaded : {true, false}) { // stored all the same
        EXPECT_FALSE(media.SetVideoClipRange(1, 2, 3, 4));
        EXPECT_FALSE(media.SetVideoDisplayRange(21, 22, 23, 24));
        EXPECT_EQ(isLoaded ? media.Unload() : media.Load(nullptr, 0), 1);
    }
    EXPECT_EQ(Graph().video.source, (VideoFacet::Rect{1, 2, 3, 4}));
    long got[4] = {};
    media.GetVideoClipRange(&got[0], nullptr, &got[2], nullptr);
    media.GetVideoDisplayRange(nullptr, &got[1], nullptr, &got[3]);
    EXPECT_EQ(std::to_array(got), std::to_array({1L, 22L, 3L, 24L}));
}

TEST_F(MediaOutput, PlayWindow) {
    const HWND window = GetDesktopWindow();
    RECT client{};
    GetClientRect(window, &client);
    const std::string number = std::to_string(reinterpret_cast<std::intptr_t>(window));
    const Lines whole{"window.put_MessageDrain(" + number + ")",
                      "window.put_Visible(0)",
                      "window.put_WindowStyle(1174405120)",
                      "window.put_Owner(" + number + ")",
                      "window.SetWindowPosition(0, 0, " + std::to_string(client.right) + ", " +
                          std::to_string(client.bottom) + ")",
                      "window.put_Visible(-1)",
                      "window.SetWindowForeground(-1)"};
    media.SetPlayWindow(window);
    EXPECT_EQ(journal.Take(), whole);
    media.m_videoTrackNum = 0; // no picture: only the messages go there
    media.SetPlayWindow(window);
    EXPECT_JOURNAL({whole[0], whole[1], "window.put_Owner(0)"});
    media.m_videoTrackNum = 1;
    media.SetPlayWindow(nullptr);
    EXPECT_JOURNAL({"window.put_MessageDrain(0)", whole[1], "window.put_Owner(0)"});
}

TEST_F(MediaOutput, Snapshots) {
    std::array<BYTE, 8> buffer{};
    long size = 100;
    Graph().video.image = {1, 2, 3, 4, 5};
    EXPECT_EQ(media.GetCurrentImageDataSize(), 5);
    EXPECT_EQ(media.GetCurrentImageData(nullptr, nullptr), 0);
    EXPECT_EQ(media.GetCurrentImageData(nullptr, &size), 1);
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), &size), 1);
    EXPECT_EQ(buffer, (std::array<BYTE, 8>{1, 2, 3, 4, 5}));
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), nullptr), 0);
    EXPECT_JOURNAL({"video.GetCurrentImage(0, 0)", "video.GetCurrentImage(100, 0)",
                    "video.GetCurrentImage(5, 1)", "video.GetCurrentImage(-1, 1)"});
    Graph().video.results["GetCurrentImage"] = Do(E_UNEXPECTED);
    EXPECT_EQ(media.GetCurrentImageData(buffer.data(), &size), 0);
    EXPECT_EQ(media.GetCurrentImageDataSize(), 0);
}

TEST_F(MediaOutput, VolumeFollowsTheCurve) {
    const std::tuple<float, long, float> known[] = {
        {0.0F, -10000, 0.0F},   {0.009F, -10000, 0.0F}, {0.011F, -2490, 0.02F},
        {0.25F, -1966, 0.26F},  {0.5F, -1393, 0.51F},   {0.75F, -773, 0.76F},
        {0.98F, -90, 0.99F},    {0.999F, -50, 1.0F},    {1.0F, 0, 1.0F},
        {-1e30F, -10000, 0.0F}, {1e30F, 0, 1.0F},       {std::nanf(""), -10000, 0.0F}};
    for (const auto& [fraction, volume, percent] : known) {
        EXPECT_EQ(media.SetVolume(fraction), 1);
        EXPECT_EQ(media.GetVolume(), volume) << fraction;
        EXPECT_FLOAT_EQ(media.GetVolumePercent(), percent) << fraction;
    }
}

TEST_F(MediaOutput, ListsTheUsedFiltersAndShowsTheirPages) {
    FakeFilter* const extra[] = {&Graph().Add("影片", {}), &Graph().Add("F", {}),
                                 &Graph().Add("G", {})};
    std::vector<IBaseFilter*> used(extra, extra + 3);
    for (FakeFilter* filter : extra) {
        filter->propertyPages.present = true;
        filter->propertyPages.results["GetPages"] = E_FAIL;
    }
    extra[0]->clsid = CLSID_FilterGraph; // a class with a server file
    extra[1]->clsid = IID_IUnknown;
    extra[1]->results["QueryFilterInfo"] = {E_FAIL, E_FAIL};
    extra[2]->results["GetClassID"] = E_FAIL;
    std::string server;
    ASSERT_TRUE(FindFileNameFromCLSID(CLSID_FilterGraph, server));
    const std::wstring expected =
        L"0 : 影片\n\t{E436EBB3-524F-11CE-9F53-0020AF0BA770}\n\t" +
        std::wstring(server.begin(), server.end()) +
        L"\n\n1 : \n\t{00000000-0000-0000-C000-000000000046}\n\n2 : G\n\t\n\n";
    media.m_usedFilters.swap(used);
    std::wstring wide = L"something";
    std::string narrow = "something";
    media.GetFilterInfo(wide);
    media.GetFilterInfo(narrow);
    for (const int index : {-1, 0, 2, 3}) {
        media.ShowFilterPropertyPage(index, nullptr);
    }
    media.m_usedFilters.swap(used);
    EXPECT_EQ(wide, expected);
    EXPECT_EQ(narrow, Gbk(expected));
    EXPECT_EQ(journal.Matching("*.GetPages"), Lines({"影片.GetPages", "G.GetPages"}));
}

TEST_F(MediaOutput, VisitorAndSearchReachTheFilters) {
    Lines seen;
    const auto visit = [&](int all) {
        seen.clear();
        const auto see = [](IBaseFilter* filter, void* user) {
            static_cast<Lines*>(user)->push_back(AsFake(filter)->Name());
        };
        media.EnumMediaFilter(see, &seen, all);
        return seen;
    };
    Graph().Add("Pinless", {});
    Graph().Add("Last", {In(fakes::Video())}).Select({});
    FakeFilter& first = Graph().Add("First", {In(fakes::Video())}).Select({});
    const Lines loaded{"AudioRenderer2", "VideoRenderer1", "Source"};
    EXPECT_EQ(visit(0), loaded);
    EXPECT_EQ(visit(1), (Lines{"First", "Last", "Pinless"}) + loaded);
    media.EnumMediaFilter(nullptr, &seen, 1);
    EXPECT_NO_THROW(media.EnumMediaFilter([](auto...) { throw 1; }, &seen, 1));
    Graph().Find("Source")->results["QueryFilterInfo"] = {kThrows};
    std::wstring listing;
    EXPECT_NO_THROW(media.GetFilterInfo(listing));
    // The first that has the interface; on pins only when asked to.
    first.InPin().Expose(IID_IAMVideoCompression);
    EXPECT_EQ(media.FindInterfaceInGraphFilters(IID_IAMVideoCompression, 0), nullptr);
    for (const int onPins : {0, 1}) {
        const IID& iid = onPins != 0 ? IID_IAMVideoCompression : IID_IAMStreamSelect;
        void* const found = media.FindInterfaceInGraphFilters(iid, onPins);
        ASSERT_NE(found, nullptr);
        EXPECT_TRUE(onPins != 0 || found == static_cast<IAMStreamSelect*>(&first.streamSelect));
        static_cast<IUnknown*>(found)->Release();
    }
    media.Unload();
    EXPECT_EQ(visit(1), Lines());
    EXPECT_EQ(media.FindInterfaceInGraphFilters(IID_IAMStreamSelect, 1), nullptr);
}

} // namespace
