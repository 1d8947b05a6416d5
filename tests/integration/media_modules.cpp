// Graphs of the project's filter modules: made by a script, with nothing registered.

#include "integration/media_support.h"

using namespace media_tests;

namespace {

class MediaModules : public RealMediaTest {};

TEST_F(MediaModules, ScriptAloneMakesTheGraph) {
    ComPtr<IBaseFilter> registered;
    ASSERT_EQ(CoCreateInstance(ymfilters::CLSID_TestSource, nullptr, CLSCTX_INPROC_SERVER,
                               IID_PPV_ARGS(&registered)),
              REGDB_E_CLASSNOTREG);
    UseModules();
    int heard = 0;
    media.SetAddFilterCallBack([](IBaseFilter*, void* user) { ++*static_cast<int*>(user); },
                               &heard);
    ASSERT_EQ(media.SetMediaPath("test://320x240@25/1s?coded=1&audio=440,880&rate=48000"), 1);
    for (const int flag : {1, 0}) {
        heard = 0;
        ASSERT_EQ(media.Load(nullptr, flag), 1)
            << testing::PrintToString(Attempts(media)) << testing::PrintToString(log.Lines());
        EXPECT_EQ(heard, 5);
        // The filters are marked for a filter cache that this graph manager may not have.
        EXPECT_EQ(media.Connections().size(), 4U);
        EXPECT_EQ(media.Facts().back(),
                  "1 of 1 pictures, 2 of 2 sounds, 320x240 400000, 10000000, 5 filters, "
                  "320x240 400000, 48000/2/16, 48000/2/16");
        EXPECT_EQ(Attempts(media),
                  flag ? Lines({"1 TrySourceFilter Source 0", "1 TryRenderSource Source 0"})
                       : Lines({"3 TrySourceFilter Source 0", "3 RenderFilter Source 0"}));
        for (const auto& filter : media.GetLoadReport().filters) {
            EXPECT_TRUE(filter.created && filter.added && filter.result == S_OK);
            EXPECT_NE(filter.module.find(L"\\filters\\test"), filter.module.npos);
        }
        ASSERT_EQ(media.Play(), 1);
        IBaseFilter* const renderer = media.GetVideoTrackRender(0);
        EXPECT_TRUE(Within(
            5000, [&] { return !modules::Records(renderer, TestRecord::EndOfStream).empty(); }));
        EXPECT_EQ(modules::Records(renderer, TestRecord::Sample).back().frame, 24);
        StopQuietly();
        media.Unload();
    }
    EXPECT_EQ(log.Count("8 *"), log.Count("8 *Load MediaInfo*"));
}

TEST_F(MediaModules, RepeatedLoadsEqualTheFirst) {
    UseModules();
    for (const int flag : {1, 0}) {
        const std::string path = "test://320x240@25/1s?audio=440,880";
        ASSERT_EQ(media.SetMediaPath(path), 1);
        ASSERT_EQ(media.Load(nullptr, flag), 1);
        const Lines first = media.Facts();
        EXPECT_EQ(first.size(), 4U);
        ASSERT_EQ(media.UnlinkAllFilter(), 1);
        EXPECT_EQ(media.Connections(), Lines());
        ASSERT_EQ(media.LinkAllFilter(), 1);
        // Which of the sound renderers gets which stream is rendering's affair.
        EXPECT_EQ(flag ? media.Facts() : Lines{media.Facts().back()},
                  flag ? first : Lines{first.back()});
        media.Unload();
        ASSERT_EQ(media.Load(nullptr, flag), 1);
        EXPECT_EQ(media.Facts(), first);
        ASSERT_EQ(media.SetMediaPath("test:///1s?video=0&audio=300"), 1);
        ASSERT_EQ(media.Load(nullptr, flag), 1);
        EXPECT_EQ(media.GetVideoTrackNum(), 0U);
        EXPECT_EQ(media.GetAudioTrackNum(), 1U);
        ASSERT_EQ(media.SetMediaPath(path), 1);
        ASSERT_EQ(media.Load(nullptr, flag), 1);
        EXPECT_EQ(media.Facts(), first);
    }
}

TEST_F(MediaModules, ReportTellsWhatFailed) {
    UseModules(R"(
  {"Name": "Gone", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}", "Path": "filters\\no.ax"},
  {"Name": "Foreign", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
   "Path": "filters\\testrenderer.ax"},)");
    ASSERT_EQ(media.SetMediaPath("test:///1s?fail=8004022F"), 1);
    ASSERT_EQ(media.Load(nullptr, 1), 0);
    const auto& report = media.GetLoadReport();
    ASSERT_EQ(report.filters.size(), 7U);
    EXPECT_EQ(report.filters[0].result, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(report.filters[1].result, CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_TRUE(!report.filters[0].created && !report.filters[1].created);
    EXPECT_TRUE(report.filters[2].created && report.filters[2].added);
    EXPECT_EQ(log.Count("8 *Load Filter FAILED : *"), 2U);
    const Lines attempts = Attempts(media);
    ASSERT_EQ(attempts.size(), 4U);
    EXPECT_EQ(attempts[0], "1 TrySourceFilter Source 8004022f");
    EXPECT_TRUE(attempts[1].starts_with("2 AddSourceFilter 8"));
    EXPECT_EQ(attempts[2], "3 TrySourceFilter Source 8004022f");
    EXPECT_TRUE(attempts[3].starts_with("4 AddSourceFilter 8"));
    EXPECT_FALSE(report.failure.empty());
    EXPECT_EQ(report.failureResult, report.attempts.back().result);
    EXPECT_EQ(media.IsReadyForPlay(), 0);

    media.Unload(); // the report stays until the next load
    EXPECT_EQ(media.GetLoadReport().attempts.size(), 4U);
    ASSERT_EQ(media.SetMediaPath("test:///1s"), 1);
    EXPECT_EQ(media.Load(nullptr, 1), 1);
    EXPECT_TRUE(media.GetLoadReport().failure.empty());
    EXPECT_EQ(media.GetLoadReport().failureResult, S_OK);
}

TEST_F(MediaModules, CyclesLeaveNothing) {
    UseModules();
    ASSERT_EQ(media.SetMediaPath("test://160x120/1s?audio=440,880"), 1);
    const int rounds = Rounds("YMD_SOAK_MODULES", 500);
    const unsigned kept = modules::HandlesKeptByGraphs(rounds - 10);
    const auto [early, late] = Soak(rounds, [&](int i) {
        ASSERT_EQ(media.Load(nullptr, i % 2), 1);
        if (i % 50 == 0) {
            ASSERT_EQ(media.Play(), 1);
            EXPECT_TRUE(GoesOn(media.GetVideoTrackRender(0)));
            StopQuietly();
        }
        media.Unload();
        log.Clear();
    });
    EXPECT_GT(early.handles, 0U);
    EXPECT_LE(late.handles, early.handles + kept + 6);
    EXPECT_LT(late.kilobytes, early.kilobytes + 4096);
}

TEST_F(MediaModules, ManyItemsSideBySide) {
    UseModules();
    const int count = Rounds("YMD_SOAK_ITEMS", 100);
    const auto round = [&] {
        std::vector<std::unique_ptr<RealMedia>> items;
        for (int i = 0; i < count; ++i) {
            items.push_back(std::make_unique<RealMedia>("test://160x120/1s", &player));
            ASSERT_EQ(items.back()->Load(nullptr, 1), 1) << i;
        }
        for (const auto& item : items) {
            EXPECT_EQ(item->Connections().size(), 2U);
        }
        std::printf("%d items: %s\n", count, Resources::Now().Text().c_str());
    };
    const unsigned kept = modules::HandlesKeptByGraphs(count);
    round();
    const Resources once = Resources::Now();
    round();
    const Resources twice = Resources::Now();
    std::printf("gone: %s; and again: %s\n", once.Text().c_str(), twice.Text().c_str());
    EXPECT_LE(twice.handles, once.handles + kept + 6);
    EXPECT_LT(twice.kilobytes, once.kilobytes + 4096);
}

} // namespace
