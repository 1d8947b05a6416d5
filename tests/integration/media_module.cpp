// What the media module makes of files: every combination of container and codec, the truth of
// seeks, colours, tracks, what is broken.

#include <chrono>
#include <fstream>
#include <random>

#include "integration/module_files.h"

#include <psapi.h>

using namespace media_tests;

namespace {

constexpr GUID kSubtypeP010 = {0x30313050, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};

class MediaModule : public ModuleTest {
protected:
    /// What is wrong with a file, in words; how long the steps took.
    std::string Try(const MatrixFile& file, double& loading, double& stopping);
    std::string TryToTheEnd(const MatrixFile& file);

    /// What is wrong with the sound after a seek in a file whose frequency tells the time.
    std::string JudgeSound(const MatrixFile& file, LONGLONG time);
};

double Since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

std::string MediaModule::Try(const MatrixFile& file, double& loading, double& stopping) {
    const auto begin = std::chrono::steady_clock::now();
    if (!Open(PathOf(file.name))) {
        return Reason();
    }
    loading = Since(begin);
    std::ostringstream wrong;
    const double duration = static_cast<double>(media.GetOriginalDuration()) / 1e7;
    if (media.GetVideoTrackNum() != file.videos || media.GetAudioTrackNum() != file.audios) {
        wrong << " tracks " << media.GetVideoTrackNum() << " " << media.GetAudioTrackNum() << ";";
    }
    // Turned pictures have their sides swapped.
    if (file.videos > 0 &&
        std::minmax<long>({media.GetVideoOriginalWidth(), media.GetVideoOriginalHeight()}) !=
            std::minmax<long>({file.width, file.height})) {
        wrong << " size " << media.GetVideoOriginalWidth() << "x" << media.GetVideoOriginalHeight()
              << ";";
    }
    if (std::abs(duration - file.duration) > 0.15 && std::abs(duration - file.length) > 0.15) {
        wrong << " duration " << duration << ";";
    }
    if (media.Play() != 1) {
        return wrong.str() + " Play";
    }
    wrong << JudgePictures(file, 0, 3);
    const auto place = static_cast<LONGLONG>(0.6 * file.length * 1e7);
    Seek(place);
    if (!file.name.starts_with("raw.")) { // has no times
        wrong << JudgePictures(file, place, 3);
    }
    if (file.audios > 0 && file.name != "audio-early.mp4") { // silence is no sample
        const auto heard = Shown(Sound(), place);
        const LONGLONG late = heard.empty() ? kSecond : heard[0].start;
        if (std::abs(late) > 20 * kMillisecond) {
            wrong << " sound is " << late / kMillisecond << " ms late;";
        }
    }
    const auto end = std::chrono::steady_clock::now();
    if (media.Stop() != 1) {
        wrong << " Stop;";
    }
    stopping = Since(end);
    return wrong.str() + TryToTheEnd(file);
}

/// Without a clock: every picture of the file, once, in order.
std::string MediaModule::TryToTheEnd(const MatrixFile& file) {
    media.SetAmain(1);
    ends = aborts = 0;
    Seek(0);
    std::string wrong;
    if (media.Play() != 1 || !Ended(1)) {
        wrong = " no end;";
    } else if (!file.times.empty()) {
        const auto shown = Shown(Picture(), 0, file.times.size());
        std::size_t right = 0;
        while (right < shown.size() && shown[right].frame == static_cast<int>(right)) {
            ++right;
        }
        const std::size_t damaged = file.name.starts_with("cut.") ? 3 : 0;
        if (right + damaged < file.times.size() || shown.size() != file.times.size()) {
            wrong = " " + std::to_string(shown.size()) + " of " +
                    std::to_string(file.times.size()) + " pictures, wrong from " +
                    std::to_string(right) + ";";
        }
    }
    media.Stop();
    media.SetAmain(0);
    return wrong + (aborts > 0 ? " error;" : "");
}

TEST_F(MediaModule, EveryFileOfTheMatrixPlaysSeeksAndStops) {
    ASSERT_GE(Matrix().size(), 40U);
    std::printf("%-20s %6s %6s %9s %8s %7s %7s\n", "file", "tracks", "", "size", "s", "load ms",
                "stop ms");
    const char* const part = std::getenv("YMD_FILES"); // of the names of those to look at
    for (const MatrixFile& file : Matrix()) {
        if (part != nullptr && file.name.find(part) == file.name.npos) {
            continue;
        }
        double loading = 0;
        double stopping = 0;
        const std::string wrong = Try(file, loading, stopping);
        std::printf("%-20s %6u %6u %4dx%-4d %8.3f %7.1f %7.1f %s\n", file.name.c_str(), file.videos,
                    file.audios, file.width, file.height, file.duration, loading, stopping,
                    wrong.c_str());
        std::fflush(stdout);
        EXPECT_EQ(wrong, "") << file.name;
    }
}

std::string MediaModule::JudgeSound(const MatrixFile& file, LONGLONG time) {
    constexpr LONGLONG kBlock = 8 * kMillisecond; // has periods enough
    const auto heard = Shown(Sound(), time, media.IsPlaying() ? 2 : 1);
    if (heard.empty() || std::abs(heard[0].start) > 20 * kMillisecond) {
        return " sound begins late;";
    }
    for (const TestRecord& record : heard) {
        if (record.stop - record.start >= kBlock) {
            const double told = (record.frequency - 400) / 400;
            const double wanted =
                static_cast<double>(time + (record.start + record.stop) / 2 - file.times[0]) / 1e7;
            return std::abs(told - wanted) <= 0.02 ? ""
                                                   : " sound of " + std::to_string(told) +
                                                         " s at " + std::to_string(wanted) + ";";
        }
    }
    return "";
}

TEST_F(MediaModule, PlayingAgainTakesNoMoreMemory) {
    ASSERT_TRUE(Open(PathOf("raw-rgb.avi"))) << Reason(); // 7 MB
    media.SetAmain(1);
    LONGLONG before = 0;
    for (int round = 0; round < 12; ++round) {
        PROCESS_MEMORY_COUNTERS memory{};
        K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
        const auto now = static_cast<LONGLONG>(memory.WorkingSetSize);
        before = round <= 2 ? now : before;
        EXPECT_LT(now - before, 20 << 20);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(round + 1));
        ASSERT_EQ(media.Stop(), 1);
    }
}

class MediaTruth : public MediaModule, public testing::WithParamInterface<const char*> {};

TEST_P(MediaTruth, SeeksShowThePictureAndTheSoundOfTheirTime) {
    const MatrixFile& file = File(GetParam());
    ASSERT_TRUE(Open(PathOf(file.name))) << Reason();
    std::mt19937 random(1);
    for (const bool isRunning : {false, true}) {
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(isRunning || media.Pause() == 1);
        for (int i = 0; i < 50; ++i) {
            // Any place, or the first instant of a picture, of a key frame now and then.
            LONGLONG time = static_cast<LONGLONG>(random() % 117'000'000);
            if (i % 4 == 0) {
                time = file.times[i % 8 == 0 ? random() % 290 : random() % 6 * 50];
            }
            Seek(time);
            EXPECT_EQ(JudgePictures(file, time, isRunning ? 2 : 1) + JudgeSound(file, time), "")
                << (isRunning ? "running" : "paused");
            EXPECT_EQ(media.GetPlayState(), isRunning ? 2 : 1);
        }
        ASSERT_EQ(media.Stop(), 1);
    }
}

INSTANTIATE_TEST_SUITE_P(, MediaTruth,
                         testing::Values("truth-mp4.mp4", "truth-long.mp4", "truth-mkv.mkv",
                                         "truth-hevc.mkv", "truth-ts.ts", "truth-avi.avi",
                                         "truth-webm.webm"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::erase_if(name, [](char c) { return c == '-' || c == '.'; });
                             return name;
                         });

TEST_F(MediaModule, EveryRendererGetsTheTypeThatItTakes) {
    for (const auto* const wanted : {&MEDIASUBTYPE_RGB32, &MEDIASUBTYPE_RGB24, &MEDIASUBTYPE_YUY2,
                                     &MEDIASUBTYPE_NV12, &MEDIASUBTYPE_YV12, &kSubtypeP010}) {
        for (const auto* const block : {&FORMAT_VideoInfo, &FORMAT_VideoInfo2}) {
            subtype = *wanted;
            format = *block;
            for (const char* const name : {"h264-aac.mp4", "h264-high10.mp4", "h264-422.mp4",
                                           "raw-rgb.avi", "rotated.mp4"}) {
                if (*wanted == kSubtypeP010 && std::string(name) != "h264-high10.mp4") {
                    continue;
                }
                SCOPED_TRACE(name);
                ASSERT_TRUE(Open(PathOf(name))) << Reason();
                AM_MEDIA_TYPE type{};
                ComPtr<IPin> pin;
                ASSERT_EQ(Picture()->FindPin(L"In", &pin), S_OK);
                ASSERT_EQ(pin->ConnectionMediaType(&type), S_OK);
                EXPECT_TRUE(type.subtype == *wanted && type.formattype == *block);
                CoTaskMemFree(type.pbFormat);
                ASSERT_EQ(media.Play(), 1);
                EXPECT_EQ(JudgePictures(File(name), 0, 2), "");
                Seek(6'000'000);
                EXPECT_EQ(JudgePictures(File(name), 6'000'000, 2), "");
            }
        }
    }
}

TEST_F(MediaModule, ColoursAreRight) {
    subtype = MEDIASUBTYPE_RGB32;
    format = FORMAT_VideoInfo;
    for (const MatrixFile& file : Matrix()) {
        if (!file.name.starts_with("chart-")) {
            continue;
        }
        SCOPED_TRACE(file.name);
        const std::size_t bytes = static_cast<std::size_t>(file.width) * file.height * 4;
        std::vector<char> wanted(bytes);
        std::vector<BYTE> is(bytes);
        std::ifstream(PathOf(file.name + ".bgra"), std::ios::binary)
            .read(wanted.data(), static_cast<std::streamsize>(bytes));
        ASSERT_TRUE(Open(PathOf(file.name))) << Reason();
        ASSERT_EQ(media.Play(), 1);
        ASSERT_EQ(media.Pause(), 1);
        ASSERT_FALSE(Shown(Picture(), 0).empty());
        auto size = static_cast<ULONG>(bytes);
        Recorder(Picture())->GetLast(is.data(), &size);
        ASSERT_EQ(size, bytes);
        int worst = 0;
        for (int y = 0; y < file.height; ++y) {
            for (int x = 0; x < file.width; ++x) {
                // Where patches meet, what is between two colours is a matter of taste.
                for (int i = 0; x % 32 >= 8 && x % 32 < 24 && y % 32 >= 8 && y % 32 < 24 && i < 3;
                     ++i) {
                    const auto ours = is[static_cast<std::size_t>(
                        ((file.height - 1 - y) * file.width + x) * 4 + i)];
                    const auto theirs = static_cast<BYTE>(
                        wanted[static_cast<std::size_t>((y * file.width + x) * 4 + i)]);
                    worst = std::max(worst, std::abs(ours - theirs));
                }
            }
        }
        EXPECT_LE(worst, 2);
    }
}

TEST_F(MediaModule, SwitchesTheSoundWithoutAGapInThePicture) {
    for (const char* const name : {"tracks.mkv", "tracks-mixed.mkv"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(Open(PathOf(name))) << Reason();
        ASSERT_EQ(media.GetAudioTrackNum(), 3U);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_FALSE(Shown(Sound(), 0, 5).empty());
        for (const std::uint32_t wanted : {1U, 2U, 0U}) {
            Recorder(Sound())->Clear();
            ASSERT_TRUE(media.EnableOnlyOneAudioTrack(wanted));
            const auto isIt = [=](const TestRecord& record) {
                return std::abs(record.frequency - 440.0 * (wanted + 1)) < 20;
            };
            std::vector<TestRecord> heard;
            ASSERT_TRUE(Within(5000, [&] {
                heard = Records(Sound(), TestRecord::Sample);
                return std::any_of(heard.begin(), heard.end(), isIt);
            })) << wanted;
            const auto first = std::find_if(heard.begin(), heard.end(), isIt);
            EXPECT_LT((first->segmentStart + first->start) -
                          (heard[0].segmentStart + heard[0].start),
                      200 * kMillisecond);
            EXPECT_EQ(media.GetFirstEnabledAudioTrackIndex(), static_cast<int>(wanted));
        }
        const auto seen = Records(Picture(), TestRecord::Sample);
        for (std::size_t i = 0; i < seen.size(); ++i) {
            ASSERT_EQ(seen[i].frame, static_cast<LONG>(i));
        }
    }
}

TEST_F(MediaModule, PlaysAClipToThePictureAndTheSample) {
    ASSERT_TRUE(Open(PathOf("truth-mkv.mkv"))) << Reason();
    ASSERT_EQ(media.TimeClip(2 * kSecond, 2 * kSecond + 400 * kMillisecond), 1);
    for (int round = 1; round <= 2; ++round) {
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(round));
        const auto seen = Shown(Picture(), 2 * kSecond, 10);
        EXPECT_EQ(seen.size(), 10U);
        EXPECT_EQ(seen.back().frame, 59);
        LONGLONG heard = 0;
        for (const TestRecord& record : Shown(Sound(), 2 * kSecond)) {
            heard += record.stop - record.start;
        }
        EXPECT_NEAR(static_cast<double>(heard), 400 * kMillisecond, kMillisecond);
        ASSERT_EQ(media.Stop(), 1);
        Recorder(Picture())->Clear();
        Recorder(Sound())->Clear();
    }
}

TEST_F(MediaModule, ARateChangesTheTimesAndNotThePitch) {
    ASSERT_TRUE(Open(PathOf("tracks.mkv"))) << Reason();
    const LONGLONG from = 4 * kSecond;
    ASSERT_EQ(media.Play(), 1);
    for (const double rate : {2.0, 0.5, 1.0}) {
        SCOPED_TRACE(rate);
        ASSERT_EQ(media.SetPlayRate(rate), 1);
        Seek(from);
        const auto seen = Shown(Picture(), from, 20);
        ASSERT_GE(seen.size(), 20U);
        for (std::size_t i = 0; i < seen.size(); ++i) {
            EXPECT_EQ(seen[i].frame, File("tracks.mkv").FrameAt(from) + static_cast<int>(i));
        }
        const auto passed = static_cast<double>(seen[19].start - seen[9].start);
        EXPECT_NEAR(passed * rate, 400 * kMillisecond, 2 * kMillisecond);
        const auto heard = Shown(Sound(), from, 10);
        ASSERT_GE(heard.size(), 10U);
        for (std::size_t i = 1; i < heard.size(); ++i) {
            EXPECT_NEAR(static_cast<double>(heard[i].start - heard[i - 1].stop), 0, kMillisecond);
            EXPECT_NEAR(heard[i].frequency, 440, 15);
        }
    }
}

TEST_F(MediaModule, SaysWhyAFileDoesNotPlay) {
    const struct {
        const char* name;
        const wchar_t* words; ///< null: it plays
    } files[] = {{"bad\\empty.mp4", L""},      {"bad\\junk.mkv", L"nvalid data"},
                 {"bad\\text.mp4", L"nvalid"}, {"bad\\headless.mp4", L"nvalid data"},
                 {"bad\\is-mp4.mp3", nullptr}, {"bad\\is-mkv.avi", nullptr},
                 {"bad\\holes.ts", nullptr},   {"bad\\holes.mp4", nullptr},
                 {"bad\\holes.mkv", nullptr}};
    for (const auto& file : files) {
        SCOPED_TRACE(file.name);
        media.SetAmain(1);
        const bool isOpen = Open(PathOf(file.name));
        std::string filters;
        media.GetFilterInfo(filters);
        EXPECT_EQ(isOpen, file.words == nullptr) << Reason() << filters;
        if (isOpen) {
            ASSERT_EQ(media.Play(), 1);
            EXPECT_TRUE(Within(kPatience, [&] { return ends + aborts > 0; }));
            EXPECT_TRUE(Picture() != nullptr && Records(Picture(), TestRecord::Sample).size() > 20);
        } else if (file.words != nullptr) {
            const std::wstring& said = media.GetLoadReport().failure;
            EXPECT_FALSE(said.empty());
            EXPECT_NE(said.find(file.words), said.npos) << testing::PrintToString(said);
        }
    }
}

/// The one that scripts/hostile runs on its files: whatever comes of it, it ends.
TEST_F(MediaModule, DISABLED_AnyFile) {
    const char* const path = std::getenv("YMD_ANY_FILE");
    ASSERT_NE(path, nullptr);
    if (!Open(path)) {
        EXPECT_NE(Reason(), "");
        std::printf("refused: %s\n", Reason().c_str());
        return;
    }
    ASSERT_EQ(media.Play(), 1);
    Within(1000, [&] { return ends + aborts > 0; });
    media.SetMediaPosition(media.GetOriginalDuration() / 2);
    Within(500, [&] { return ends + aborts > 0; });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(media.Stop(), 1);
    EXPECT_LT(Since(begin), 1000);
    std::printf("played: %u video, %u audio\n", media.GetVideoTrackNum(), media.GetAudioTrackNum());
}

/// What an address says that scripts/serve-files has given.
class MediaUrls : public MediaModule {
protected:
    static std::string Url(const std::string& name) {
        const char* const server = std::getenv("YMD_FILE_SERVER");
        return (server != nullptr ? server : "") + name;
    }
    void SetUp() override {
        if (Url("").empty()) {
            GTEST_SKIP() << "without a server";
        }
    }
};

TEST_F(MediaUrls, FilesOfAServerPlayAndSeek) {
    for (const char* const name : {"h264-aac.mp4", "h264-ac3.mkv", "h264-aac.ts"}) {
        SCOPED_TRACE(name);
        const MatrixFile& file = File(name);
        ASSERT_TRUE(Open(Url(name))) << Reason();
        EXPECT_EQ(media.GetVideoTrackNum() + media.GetAudioTrackNum(), 2U);
        ASSERT_EQ(media.Play(), 1);
        EXPECT_EQ(JudgePictures(file, 0, 3), "");
        Seek(25'000'000);
        EXPECT_EQ(JudgePictures(file, 25'000'000, 3), "");
    }
    EXPECT_FALSE(Open(Url("missing.mp4")));
    EXPECT_NE(Reason().find("404"), std::string::npos) << Reason();
}

TEST_F(MediaUrls, AServerThatFallsSilentHoldsNobody) {
    const Watchdog watchdog(60);
    const auto isQuick = [&](const char* what, auto&& call) {
        const auto begin = std::chrono::steady_clock::now();
        call();
        EXPECT_LT(Since(begin), 500) << what;
    };
    ASSERT_EQ(media.SetMediaPath(Url("silent/h264-aac.mp4")), 1);
    int loaded = -1;
    std::thread loading([&] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        loaded = media.Load(nullptr, 1);
        CoUninitialize();
    });
    Sleep(500);
    isQuick("Unload during the open", [&] {
        media.Unload();
        loading.join();
    });
    EXPECT_EQ(loaded, 0);
    // What it has sent can be played.
    for (const bool isSought : {false, true}) {
        ASSERT_TRUE(Open(Url("half/h264-aac.mp4"))) << Reason();
        ASSERT_EQ(media.Play(), 1);
        EXPECT_EQ(JudgePictures(File("h264-aac.mp4"), 0, 20), "");
        if (isSought) {
            isQuick("Seek", [&] { media.SetMediaPosition(3 * kSecond); });
        }
        isQuick("Stop", [&] { media.Stop(); });
        isQuick("Unload", [&] { media.Unload(); });
    }
    ASSERT_TRUE(Open(Url("ended/h264-aac.ts"))) << Reason();
    ASSERT_EQ(media.Play(), 1);
    EXPECT_TRUE(Within(20000, [&] { return ends + aborts > 0; }));
}

class MediaOperations : public MediaModule, public testing::WithParamInterface<const char*> {};

TEST_P(MediaOperations, AtRandomFromTwoThreadsHangNothing) {
    const Watchdog watchdog(150);
    ASSERT_TRUE(Open(PathOf(GetParam()))) << Reason();
    const std::int64_t duration = media.GetOriginalDuration();
    const auto work = [&](unsigned seed) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        std::mt19937 random(seed);
        for (int i = 0; i < 150; ++i) {
            const unsigned number = random();
            switch (number % 9) {
            case 0:
                media.Stop();
                break;
            case 1:
                media.Pause();
                break;
            case 2:
                media.StepFrame();
                break;
            case 3:
                media.SetLoop(static_cast<int>(number >> 8 & 1));
                break;
            case 4:
                media.EnableOnlyOneAudioTrack((number >> 8) % media.GetAudioTrackNum());
                break;
            case 5:
            case 6: // now and then to the end
                media.SetMediaPosition(number % 5 == 0 ? duration - kSecond / 10
                                                       : (number >> 8) % duration);
                break;
            default:
                media.Play();
                Sleep(number >> 8 & 31);
            }
        }
        CoUninitialize();
    };
    std::thread first(work, 1U);
    std::thread second(work, 2U);
    first.join();
    second.join();
    // And it still plays.
    media.Stop();
    media.SetLoop(0);
    Seek(0);
    ASSERT_EQ(media.Play(), 1);
    EXPECT_EQ(JudgePictures(File(GetParam()), 0, 3), "");
}

INSTANTIATE_TEST_SUITE_P(, MediaOperations,
                         testing::Values("tracks.mkv", "tracks-mixed.mkv", "h264-aac.ts",
                                         "apart.mp4"),
                         [](const auto& info) { return "File" + std::to_string(info.index); });

} // namespace
