// Volume, mute and the curve between a fraction and hundredths of a decibel.

#include "media_play.h"

#include <cmath>

using namespace media_tests;

namespace {

class MediaVolume : public MediaTest {};

TEST_F(MediaVolume, FractionsFollowTheCurve) {
    Media media(nullptr);
    Loaded(media);
    const struct {
        float fraction;
        long volume;
    } known[] = {{0.0F, -10000}, {-1.0F, -10000}, {0.009F, -10000}, {0.25F, -1966},
                 {0.5F, -1393},  {0.75F, -773},   {0.999F, -50},    {1.0F, 0},
                 {1.5F, 0},      {1e30F, 0},      {-1e30F, -10000}, {std::nanf(""), -10000}};
    for (const auto& item : known) {
        SCOPED_TRACE(item.fraction);
        EXPECT_EQ(media.SetVolume(item.fraction), 1);
        EXPECT_EQ(Graph().audio.volume, item.volume);
    }
    long last = -10001;
    for (int percent = 0; percent <= 100; ++percent) {
        // In the middle of a percent, where no rounding decides.
        ASSERT_EQ(media.SetVolume((static_cast<float>(percent) + 0.5F) / 100.0F), 1);
        EXPECT_GT(media.GetVolume(), last) << percent;
        last = media.GetVolume();
        // The way back loses up to a whole percent and gains none.
        const float lost = media.GetVolumePercent() - static_cast<float>(percent) / 100.0F;
        EXPECT_TRUE(lost > -0.0001F && lost < 0.0101F) << percent << ": " << lost;
    }
}

TEST_F(MediaVolume, EveryVolumeHasItsPercentage) {
    Media media(nullptr);
    Loaded(media);
    const struct {
        long volume;
        float percent;
    } known[] = {{-10000, 0.0F}, {-9999, -4.07F}, {-2512, 0.0F}, {-1966, 0.26F},
                 {-1393, 0.51F}, {-773, 0.76F},   {-1, 1.0F},    {0, 1.0F}};
    for (const auto& item : known) {
        Graph().audio.volume = item.volume;
        EXPECT_FLOAT_EQ(media.GetVolumePercent(), item.percent) << item.volume;
    }
    journal.SetKinds(0);
    int steps = 0;
    float last = -1.0F;
    for (long volume = -2512; volume <= 0; ++volume) { // below it is negative, but for silence
        Graph().audio.volume = volume;
        const float percent = media.GetVolumePercent();
        ASSERT_GE(percent, last) << volume;
        steps += percent > last;
        last = percent;
    }
    EXPECT_EQ(steps, 101);
}

TEST_F(MediaVolume, SettingsReachTheFilterOnlyWhenTheyChangeSomething) {
    Media media(nullptr);
    EXPECT_EQ(media.SetVolume(-500L), 0);
    EXPECT_EQ(media.GetVolume(), -10000);
    EXPECT_EQ(media.m_volume, 0) << "without a graph nothing is stored";
    Loaded(media);
    EXPECT_EQ(media.SetVolume(0L), 1);
    EXPECT_JOURNAL({});
    EXPECT_EQ(media.SetVolume(-500L), 1);
    EXPECT_EQ(media.SetVolume(-500L), 1);
    EXPECT_JOURNAL({"audio.put_Volume(-500)"});
    Graph().audio.results["put_Volume"] = E_FAIL;
    EXPECT_EQ(media.SetVolume(-600L), 0);
    EXPECT_EQ(media.MuteAudio(), 0);
    EXPECT_EQ(media.m_volume, -500);
    EXPECT_EQ(media.m_isMuted, 0);
    Graph().audio.results["get_Volume"] = E_FAIL;
    EXPECT_EQ(media.GetVolume(), -10000);
    EXPECT_EQ(media.GetVolumePercent(), 0.0F);
    Graph().audio.results.Clear();
    Graph().audio.present = false;
    EXPECT_EQ(media.SetVolume(-600L), 0);
    EXPECT_EQ(media.GetVolume(), -10000);
    EXPECT_EQ(Graph().audio.Refs(), 0U);
}

TEST_F(MediaVolume, MuteForgetsTheVolume) {
    Media media(nullptr);
    Loaded(media);
    media.SetVolume(-500L);
    journal.Clear();
    EXPECT_EQ(media.MuteAudio(), 1);
    EXPECT_EQ(media.MuteAudio(), 1);
    EXPECT_JOURNAL({"audio.put_Volume(-10000)"});
    EXPECT_EQ(media.m_isMuted, 1);
    EXPECT_EQ(media.SetVolume(-10000L), 1); // the same volume, but muted: it is set again
    EXPECT_JOURNAL({"audio.put_Volume(-10000)"});
    EXPECT_EQ(media.ResumeAudio(), 1);
    EXPECT_JOURNAL({"audio.put_Volume(0)"});
    EXPECT_EQ(media.m_isMuted, 0);
    EXPECT_EQ(media.m_volume, 0);

    media.SetVolume(-10000L); // silence is muteness
    EXPECT_EQ(media.m_isMuted, 1);
    media.SetVolume(-700L);
    EXPECT_EQ(media.m_isMuted, 0);
    EXPECT_EQ(media.ResumeAudio(), 1); // not muted: nothing to do
    EXPECT_EQ(media.m_volume, -700);
    media.MuteAudio();
    Graph().audio.results["put_Volume"] = E_FAIL;
    EXPECT_EQ(media.ResumeAudio(), 0);
    EXPECT_EQ(media.m_isMuted, 1);
    Graph().audio.results.Clear();
}

} // namespace
