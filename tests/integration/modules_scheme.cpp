// Scheme filters from real modules in a real graph.
#include <ymdshow/ymdshow.h>

#include "integration/modules_support.h"

namespace modules {

namespace {

constexpr const char* kScript = R"({
  "Filter": [
    {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
     "Path": "filters\\ymdpattern.ax"},
    {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}",
     "Path": "FILTERS/testrenderer.ax"},
    {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}",
     "Path": "filters\\testrenderer.ax"}
  ],
  "Schemes": [
    {"Type": "test", "Filters": [{"Name": "Source"}, {"Name": "Picture"}, {"Name": "Sound"}]}
  ]
})";

/// What a renderer has recorded, runs of samples as one.
std::string Story(IBaseFilter* renderer) {
    constexpr const char* kNames[] = {"Samples ",  "Segment ", "Flush ",  "Flushed ", "EOS ",
                                      "Complete ", "Stopped ", "Paused ", "Running "};
    std::string story;
    LONG last = -1;
    for (const TestRecord& record : Records(renderer, TestRecord::KindCount)) {
        story +=
            record.kind != TestRecord::Sample || last != record.kind ? kNames[record.kind] : "";
        last = record.kind;
    }
    return story;
}

TEST(SchemeModules, MakeAGraphThatPlays) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ymdshow::CCoderScheme set;
    ASSERT_TRUE(set.LoadSchemeByScript(kScript, 0));
    {
        ymdshow::CMedia media(nullptr);
        ASSERT_EQ(media.SetMediaPath(std::string("test://320x180@25/2s")), 1);
        ASSERT_EQ(media.Load(&set, 1), 1);
        // None of the entries says what it is: the filters were asked.
        ASSERT_EQ(media.GetVideoTrackNum() + media.GetAudioTrackNum(), 2U);
        IBaseFilter* const pictures = media.GetVideoTrackRender(0);
        IBaseFilter* const sound = media.GetAudioTrackRender(0);
        const auto ended = [&](IBaseFilter* renderer) {
            return Within(30000, [&] { return Story(renderer).ends_with("Complete "); });
        };
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(ended(pictures) && ended(sound));
        const std::string played = "Paused Segment Samples Running Samples EOS Complete ";
        EXPECT_EQ(Story(pictures), played);
        const std::vector<TestRecord> frames = Records(pictures, TestRecord::Sample);
        ASSERT_EQ(frames.size(), 50U);
        for (LONG i = 0; i < 50; ++i) {
            EXPECT_EQ(frames[static_cast<std::size_t>(i)].frame, i);
            EXPECT_EQ(frames[static_cast<std::size_t>(i)].start, i * 40 * kMillisecond);
        }
        LONG bytes = 0;
        for (const TestRecord& block : Records(sound, TestRecord::Sample)) {
            bytes += block.bytes;
            EXPECT_NEAR(block.frequency, 440, 1);
        }
        EXPECT_EQ(bytes, 2 * 44100 * 4);

        ASSERT_EQ(media.Pause(), 1);
        ASSERT_EQ(media.SetMediaPosition(1210 * kMillisecond), 1);
        ASSERT_TRUE(Within(30000, [&] { return Story(pictures).ends_with("Segment Samples "); }));
        EXPECT_EQ(Story(pictures), played + "Paused Flush Flushed Segment Samples ");
        const TestRecord shown = Records(pictures, TestRecord::Sample).back();
        EXPECT_EQ(shown.frame, 30) << "which covers the place, and began before it";
        EXPECT_EQ(shown.start, -10 * kMillisecond);
        EXPECT_EQ(shown.segmentStart, 1210 * kMillisecond);
        media.Stop();
        LetClockRest();
    }
    EXPECT_NE(GetModuleHandleW(L"testrenderer.ax"), nullptr);
    set.UnloadScheme();
    EXPECT_NE(GetModuleHandleW(L"testrenderer.ax"), nullptr) << "modules outlive the scheme";
    set.UnloadModules();
    EXPECT_EQ(GetModuleHandleW(L"testrenderer.ax"), nullptr);
}

} // namespace

} // namespace modules
