// What comes out of the speakers: a recording that grows while the test plays.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <utility>

#include "integration/media_support.h"

using namespace media_tests;

namespace {

constexpr int kRate = 44100;
constexpr std::size_t kWindow = kRate / 5; // of a tone this long a frequency is known to a few Hz
constexpr double kFull = 0.125;            // of the samples' tones

using Sound = std::vector<std::int16_t>;

/// The recording so far.
Sound Heard() {
    const char* const name = std::getenv("YMD_SOUND_RECORDING");
    std::ifstream file(name != nullptr ? name : "", std::ios::binary | std::ios::ate);
    EXPECT_TRUE(file) << "no recording: run this under scripts/record-sound";
    Sound sound(static_cast<std::size_t>(file.tellg()) / 2);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(sound.data()),
              static_cast<std::streamsize>(sound.size() * 2));
    return sound;
}

/// The amplitude of one frequency in a window of samples, by Goertzel's recurrence; full scale
/// is 1.
double Amplitude(const std::int16_t* samples, double frequency) {
    const double factor = 2 * std::cos(2 * std::numbers::pi * frequency / kRate);
    double last = 0;
    double before = 0;
    for (std::size_t i = 0; i < kWindow; ++i) {
        const double hann = 1 - std::cos(2 * std::numbers::pi * static_cast<double>(i) / kWindow);
        const double next = samples[i] / 32768.0 * hann + factor * last;
        before = std::exchange(last, next - before);
    }
    return 2 * std::sqrt(last * last + before * before - factor * last * before) / kWindow;
}

class SoundHeard : public RealMediaTest {
protected:
    /// The last fifth of a second becomes so loud.
    static void BecomesLoud(double amplitude) {
        double is = 0;
        EXPECT_TRUE(Within(kPatience,
                           [&] {
                               const Sound sound = Heard();
                               is = sound.size() >= kWindow
                                        ? Amplitude(sound.data() + sound.size() - kWindow, 440)
                                        : 9;
                               return std::abs(is - amplitude) < 0.1 * amplitude + 0.0005;
                           }))
            << "heard " << is << ", wanted " << amplitude;
    }
};

TEST_F(SoundHeard, IsTheToneOfTheFileFromItsStartToItsEnd) {
    LoadFile("audio-only.m4a");
    const std::size_t before = Heard().size();
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(1));
    BecomesLoud(0);
    // A busy machine may tear holes, but most of the 3 s are the tone.
    const Sound sound = Heard();
    int windows = 0;
    for (std::size_t at = before; at + kWindow <= sound.size(); at += kWindow) {
        windows += std::abs(Amplitude(&sound[at], 440) - kFull) < 0.05 * kFull ? 1 : 0;
    }
    EXPECT_GE(windows, 8);
    EXPECT_LE(windows, 16);
}

TEST_F(SoundHeard, FollowsVolumeMuteAndPause) {
    LoadFile("clip.wav");
    media.SetLoop(1);
    ASSERT_EQ(media.Play(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(media.SetVolume(0.5F), 1);
    BecomesLoud(kFull * std::pow(10.0, static_cast<double>(media.GetVolume()) / 2000));
    ASSERT_EQ(media.SetVolume(-600L), 1);
    BecomesLoud(kFull * std::pow(10.0, -0.3));
    ASSERT_EQ(media.MuteAudio(), 1);
    BecomesLoud(0);
    ASSERT_EQ(media.ResumeAudio(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(media.Pause(), 1);
    BecomesLoud(0);
    ASSERT_EQ(media.Play(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(media.Stop(), 1);
    BecomesLoud(0);
}

} // namespace
