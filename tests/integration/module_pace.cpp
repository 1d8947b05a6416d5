// Rates, repeating ranges and single frames, played by the media module.

#include "integration/module_files.h"

using namespace media_tests;

namespace {

class ModulePace : public ModuleTest {
protected:
    const MatrixFile& file = File("h264-aac.mp4");

    void Begin() {
        ASSERT_TRUE(Open(PathOf(file.name))) << Reason();
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Within(kPatience, [&] { return media.GetMediaPosition() > 0; }));
    }
    /// The number of the picture that a paused item shows.
    int Shows() {
        const auto shown = Records(Picture(), TestRecord::Sample);
        return shown.empty() ? -1 : static_cast<int>(shown.back().frame);
    }
};

TEST_F(ModulePace, RatesAreHeardInThePosition) {
    Begin();
    for (const double rate : {2.0, 0.5}) {
        ASSERT_EQ(media.SetMediaPosition(0), 1);
        ASSERT_EQ(media.SetPlayRate(rate), 1);
        EXPECT_EQ(media.SetPlayRate(9), 0);
        EXPECT_EQ(media.GetPlayRate(), rate);
        Recorder(Picture())->Clear();
        const std::int64_t from = media.GetMediaPosition();
        const ULONGLONG begin = GetTickCount64();
        ASSERT_TRUE(
            Within(kPatience, [&] { return Records(Picture(), TestRecord::Sample).size() >= 20; }));
        const auto shown = Records(Picture(), TestRecord::Sample);
        // 20 pictures of 40 ms each.
        const double wall = static_cast<double>(shown[19].wall - shown[1].wall) / kMillisecond;
        EXPECT_NEAR(wall, 18 * 40 / rate, 150);
        const double elapsed = static_cast<double>(GetTickCount64() - begin);
        EXPECT_NEAR(static_cast<double>(media.GetMediaPosition() - from) / kMillisecond,
                    elapsed * rate, 200 * rate);
    }
}

TEST_F(ModulePace, RangeRepeatsWithoutAGap) {
    Begin();
    constexpr LONGLONG kStart = 1000 * kMillisecond;
    constexpr LONGLONG kEnd = 1400 * kMillisecond; // ten pictures
    Recorder(Picture())->Clear();
    ASSERT_EQ(media.SetLoopRange(kStart, kEnd), 1);
    ASSERT_TRUE(
        Within(kPatience, [&] { return Records(Picture(), TestRecord::Sample).size() >= 35; }));
    const std::int64_t position = media.GetMediaPosition();
    EXPECT_TRUE(position >= kStart && position <= kEnd) << position;
    auto shown = Records(Picture(), TestRecord::Sample);
    std::erase_if(shown, [](const auto& record) { return record.segmentStart != kStart; });
    for (std::size_t i = 1; i < shown.size() && i < 35; ++i) {
        EXPECT_EQ(shown[i].frame, 25 + static_cast<LONG>(i) % 10);
    }
    ASSERT_GE(shown.size(), 35U);
    EXPECT_NEAR(static_cast<double>(shown[34].wall - shown[0].wall) / kMillisecond, 34 * 40, 120);
    EXPECT_EQ(ends, 0);
    ASSERT_EQ(media.SetLoopRange(0, 0), 1);
    EXPECT_TRUE(Ended(1));
}

TEST_F(ModulePace, StepsFrameByFrame) {
    Begin();
    ASSERT_EQ(media.Pause(), 1);
    ASSERT_EQ(media.SetMediaPosition(50 * 40 * kMillisecond), 1);
    ASSERT_TRUE(Within(kPatience, [&] { return Shows() == 50; })) << Shows();
    int frame = 50;
    for (const int step : {-1, -1, -1, 1, 1, -10}) {
        frame += step;
        EXPECT_EQ(media.StepFrames(step), 1);
        EXPECT_TRUE(Within(5000, [&] { return Shows() == frame; })) << Shows() << " not " << frame;
    }
}

} // namespace
