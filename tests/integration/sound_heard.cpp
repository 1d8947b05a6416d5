// What comes out of the speakers: a recording that grows while the test plays.
#include "integration/playback_support.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <utility>

namespace playback {

namespace {

constexpr int kRate = 44100;
constexpr int kWindow = kRate / 5; // of a tone this long a frequency is known to a few Hz

using Sound = std::vector<double>;

/// The recording so far; full scale is 1.
Sound Heard() {
    const char* const name = std::getenv("YMD_SOUND_RECORDING");
    std::ifstream file(name != nullptr ? name : "", std::ios::binary);
    EXPECT_TRUE(file) << "no recording: run this under scripts/record-sound";
    Sound sound;
    for (std::int16_t sample = 0;
         file.read(reinterpret_cast<char*>(&sample), sizeof sample).gcount() == sizeof sample;) {
        sound.push_back(sample / 32768.0);
    }
    return sound;
}

double Loudness(const double* samples, int count) {
    double sum = 0;
    for (int i = 0; i < count; ++i) {
        sum += samples[i] * samples[i];
    }
    return std::sqrt(sum / count);
}

/// The amplitude of one frequency in a window of samples, by Goertzel's recurrence.
double Amplitude(const double* samples, double frequency) {
    static const Sound weights = [] {
        Sound hann;
        for (int i = 0; i < kWindow; ++i) {
            hann.push_back(1 - std::cos(2 * std::numbers::pi * i / kWindow));
        }
        return hann;
    }();
    const double factor = 2 * std::cos(2 * std::numbers::pi * frequency / kRate);
    double last = 0;
    double before = 0;
    for (int i = 0; i < kWindow; ++i) {
        const double next = samples[i] * weights[static_cast<std::size_t>(i)] + factor * last -
                            std::exchange(before, last);
        last = next;
    }
    return 2 * std::sqrt(last * last + before * before - factor * last * before) / kWindow;
}

/// The strongest frequency of a window, to 1 Hz; 0 for silence.
int Tone(const double* samples) {
    int strongest = 0;
    double most = 0.005;
    for (int frequency = 100; frequency <= 2000; ++frequency) {
        const double amplitude = Amplitude(samples, frequency);
        if (amplitude > most) {
            most = amplitude;
            strongest = frequency;
        }
    }
    return strongest;
}

template <class Value> Value Median(std::vector<Value> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

class SoundPlayback : public PlaybackTest {
protected:
    void Load(const char* name) {
        ASSERT_TRUE(m_player.GetCoderScheme().LoadSchemeByScript(R"({"Schemes": [{
            "Type": "mkv", "Filters": [{"Name": "Window", "IsCache": false,
            "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "Type": "render"}]}]})",
                                                                 1));
        ASSERT_EQ(m_media.SetMediaPath(Sample(name)), 1);
        ASSERT_EQ(m_media.Load(nullptr, 0), 1);
    }

    /// Whether what is heard becomes so before long, for the last fifth of a second.
    template <class Condition> static bool Becomes(Condition&& condition) {
        return Within(4000, [&] {
            const Sound sound = Heard();
            return sound.size() >= kWindow && condition(sound.data() + sound.size() - kWindow);
        });
    }
    static void BecomesLoud(double amplitude) {
        double is = 0;
        const bool does = Becomes([&](const double* last) {
            is = Amplitude(last, 440);
            return std::abs(is - amplitude) < 0.1 * amplitude + 0.0005;
        });
        EXPECT_TRUE(does) << "heard " << is << ", wanted " << amplitude;
    }
};

constexpr double kFull = 0.125; // of the samples' tones

TEST_F(SoundPlayback, IsTheToneOfTheFileFromItsStartToItsEnd) {
    Load("audio-only.m4a");
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_TRUE(Played(1));
    ASSERT_TRUE(Becomes([](const double* last) { return Loudness(last, kWindow) < 0.001; }));
    const Sound sound = Heard();
    const auto sounds = [](const double at) { return std::abs(at) > 0.02; };
    const auto first = std::find_if(sound.begin(), sound.end(), sounds);
    const auto last = std::find_if(sound.rbegin(), sound.rend(), sounds).base();
    ASSERT_LT(first, last);
    EXPECT_NEAR(static_cast<double>(last - first) / kRate, 3.0, 0.2);
    // A busy machine may tear a hole into one piece or two, not into most.
    std::vector<int> tones;
    std::vector<double> amplitudes;
    for (auto at = first; last - at >= kWindow; at += kWindow) {
        tones.push_back(Tone(&*at));
        amplitudes.push_back(Amplitude(&*at, 440));
    }
    EXPECT_NEAR(Median(tones), 440, 2);
    EXPECT_NEAR(Median(amplitudes), kFull, 0.05 * kFull);
}

TEST_F(SoundPlayback, FollowsVolumeMuteAndPause) {
    Load("clip.wav");
    m_media.SetLoop(1);
    ASSERT_EQ(m_media.Play(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(m_media.SetVolume(0.5F), 1);
    BecomesLoud(kFull * std::pow(10.0, static_cast<double>(m_media.GetVolume()) / 2000));
    ASSERT_EQ(m_media.SetVolume(-600L), 1);
    BecomesLoud(kFull * std::pow(10.0, -0.3));
    ASSERT_EQ(m_media.MuteAudio(), 1);
    BecomesLoud(0);
    ASSERT_EQ(m_media.ResumeAudio(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(m_media.Pause(), 1);
    BecomesLoud(0);
    ASSERT_EQ(m_media.Play(), 1);
    BecomesLoud(kFull);
    ASSERT_EQ(m_media.Stop(), 1);
    BecomesLoud(0);
}

TEST_F(SoundPlayback, IsThatOfTheEnabledTracks) {
    Load("clip.mkv"); // 440 and 880 Hz
    ASSERT_EQ(m_media.GetAudioTrackNum(), 2U);
    // Which of the two is track 0 is for the splitter to say.
    using Indexes = std::vector<std::uint32_t>;
    std::vector<int> heard;
    for (const Indexes& tracks : {Indexes{0}, {1}, {0, 1}}) {
        ASSERT_EQ(m_media.Stop(), 1);
        ASSERT_TRUE(Becomes([](const double* last) { return Loudness(last, kWindow) < 0.001; }));
        ASSERT_TRUE(tracks.size() == 2 ? m_media.EnableAllAudioTrack()
                                       : m_media.EnableOnlyOneAudioTrack(tracks[0]));
        ASSERT_EQ(m_media.SetMediaPosition(0), 1);
        ASSERT_EQ(m_media.Play(), 1);
        EXPECT_TRUE(Becomes([&](const double* last) {
            std::size_t tones = 0;
            for (const int tone : {440, 880}) {
                tones += Amplitude(last, tone) > 0.9 * kFull ? 1 : 0;
            }
            return tones == tracks.size();
        }));
        const Sound sound = Heard();
        heard.push_back(Tone(sound.data() + sound.size() - kWindow));
    }
    EXPECT_NEAR(std::min(heard[0], heard[1]), 440, 2);
    EXPECT_NEAR(std::max(heard[0], heard[1]), 880, 2);
}

} // namespace

} // namespace playback
