// The facts of real files, read with the real library, against what ffprobe says of them.
// YMD_MEDIA_DIR/mediainfo is made by scripts/mediainfo/media.sh.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <ymdshow/ymdshow.h>

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t Millisecond = 10000;
constexpr std::int64_t LongestDuration = 2147483647 * Millisecond;

fs::path MediaDirectory() {
    const wchar_t* directory = _wgetenv(L"YMD_MEDIA_DIR");
    return fs::path(directory == nullptr ? L"" : directory) / L"mediainfo";
}

std::string Narrow(const fs::path& path) {
    char text[4 * MAX_PATH]{};
    WideCharToMultiByte(936, 0, path.c_str(), -1, text, sizeof text - 1, nullptr, nullptr);
    return text;
}

struct Media : ymdshow::CMedia {
    explicit Media(const fs::path& path) : CMedia(nullptr) {
        EXPECT_EQ(SetMediaPath(Narrow(path)), 1);
    }
    using CMedia::m_audioInfos;
    using CMedia::m_durationByMediaInfo;
    using CMedia::m_hasMediaInfo;
    using CMedia::m_mediaFormat;
    using CMedia::m_originalAudioTrackNum;
    using CMedia::m_originalVideoTrackNum;
    using CMedia::m_videoInfos;
};

/// One line of ffprobe's compact output: "section|key=value|...".
struct Section {
    explicit Section(const std::string& line) {
        std::istringstream in(line);
        std::getline(in, name, '|');
        for (std::string field; std::getline(in, field, '|');) {
            const std::size_t equals = field.find('=');
            if (equals != std::string::npos) {
                values.emplace(field.substr(0, equals), field.substr(equals + 1));
            }
        }
    }
    std::string operator[](const std::string& key) const {
        const auto found = values.find(key);
        return found == values.end() ? std::string() : found->second;
    }
    double Number(const std::string& key) const { return std::atof((*this)[key].c_str()); }

    /// "30000/1001", "16:9".
    double Ratio(const std::string& key) const {
        const std::string text = (*this)[key];
        const std::size_t at = text.find_first_of("/:");
        const double right = at == std::string::npos ? 0 : std::atof(text.c_str() + at + 1);
        return right > 0 ? std::atof(text.c_str()) / right : 0;
    }

    std::string name;
    std::map<std::string, std::string> values;
};

struct ProbedFile {
    fs::path path;
    std::string name;
    std::vector<Section> video;
    std::vector<Section> audio;
    double duration = 0;
};

std::vector<ProbedFile> ProbedFiles() {
    std::vector<ProbedFile> files;
    std::ifstream in(MediaDirectory() / "probe.txt");
    for (std::string line; std::getline(in, line);) {
        const Section section(line);
        if (section.name == "file") {
            const std::string name = section["name"];
            const std::u8string utf8(name.begin(), name.end());
            files.push_back({MediaDirectory() / fs::path(utf8), name, {}, {}, 0});
        } else if (section.name == "stream") {
            ProbedFile& file = files.back();
            (section["codec_type"] == "video" ? file.video : file.audio).push_back(section);
        } else if (section.name == "format") {
            files.back().duration = section.Number("duration");
        }
    }
    return files;
}

/// The two name the same formats differently.
std::string FormatOf(const std::string& codec) {
    static const Section names("formats|h264=avc|mpeg4=mpeg-4 visual|mpeg1video=mpeg video|"
                               "mjpeg=jpeg|dpx=dpx|aac=aac|ac3=ac-3|mp3=mpeg audio|"
                               "mp2=mpeg audio|pcm_s24le=pcm");
    return names[codec];
}

void ExpectDuration(std::int64_t actual, double seconds, double tolerance, const char* what) {
    EXPECT_NEAR(static_cast<double>(actual) / 1e7, seconds, tolerance) << what;
}

void ExpectVideo(const ymdshow::VideoInfo& actual, const Section& probed) {
    EXPECT_EQ(actual.format, FormatOf(probed["codec_name"]));
    EXPECT_EQ(actual.width, static_cast<int>(probed.Number("width")));
    EXPECT_EQ(actual.height, static_cast<int>(probed.Number("height")));
    // ffprobe gives the display matrix's angle, which turns the other way round.
    EXPECT_EQ(std::fmod(actual.rotation + probed.Number("rotation"), 360.0), 0.0);
    if (actual.format == "jpeg" || actual.format == "dpx") {
        // ffprobe invents 25 pictures a second for a picture.
        EXPECT_EQ(actual.avgFrameTime, 0);
        EXPECT_EQ(actual.duration, 0);
    } else {
        // Rates have three places in the library's text.
        EXPECT_NEAR(static_cast<double>(actual.avgFrameTime), 1e7 / probed.Ratio("avg_frame_rate"),
                    1.0);
        if (probed["duration"] != "N/A") {
            ExpectDuration(actual.duration, probed.Number("duration"), 0.001, "video");
        }
    }
    if (actual.format == "jpeg") {
        EXPECT_EQ(actual.displayAspectRatio, -1.0F); // unknown for image streams
    } else {
        EXPECT_NEAR(actual.displayAspectRatio, probed.Ratio("display_aspect_ratio"), 0.001);
    }
}

void ExpectAudio(const ymdshow::AudioInfo& actual, const Section& probed) {
    EXPECT_EQ(actual.format, FormatOf(probed["codec_name"]));
    EXPECT_EQ(actual.samplingRate, probed.Number("sample_rate") * 1000); // kept: times 1000
    EXPECT_EQ(actual.channels, probed.Number("channels"));
    // ffprobe has no depth for coded sound; the library has one for AC-3, its decoders' 32.
    if (probed.Number("bits_per_sample") > 0) {
        EXPECT_EQ(actual.bitDepth, probed.Number("bits_per_sample"));
    }
    if (probed["duration"] != "N/A") {
        ExpectDuration(actual.duration, probed.Number("duration"), 0.001, "audio");
    }
}

// First in the file: the threads are the process's first use of the library.
TEST(MediaInfoFiles, SeveralThreadsFromTheFirstUseOn) {
    const std::vector<ProbedFile> files = ProbedFiles();
    ASSERT_FALSE(files.empty()) << "no probe.txt in " << MediaDirectory();
    std::vector<std::string> together(files.size());
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < files.size(); ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 3; ++round) {
                together[i] = Media(files[i].path).GetMediaInfo();
            }
        });
    }
    threads.clear();
    for (std::size_t i = 0; i < files.size(); ++i) {
        EXPECT_NE(together[i], "") << files[i].name;
        EXPECT_EQ(together[i], Media(files[i].path).GetMediaInfo()) << files[i].name;
    }
}

TEST(MediaInfoFiles, AgreeWithFfprobe) {
    for (const ProbedFile& file : ProbedFiles()) {
        SCOPED_TRACE(file.name);
        const Media media(file.path);
        ASSERT_TRUE(media.m_hasMediaInfo);
        ASSERT_EQ(media.m_videoInfos.size(), file.video.size());
        ASSERT_EQ(media.m_audioInfos.size(), file.audio.size());
        for (std::size_t i = 0; i < file.video.size(); ++i) {
            ExpectVideo(media.m_videoInfos[i], file.video[i]);
        }
        for (std::size_t i = 0; i < file.audio.size(); ++i) {
            ExpectAudio(media.m_audioInfos[i], file.audio[i]);
        }
        const bool picture = file.name.ends_with(".jpg") || file.name.ends_with(".dpx");
        // A program stream has no duration in its header: ffprobe also counts the time
        // between the starts of its streams.
        ExpectDuration(media.m_durationByMediaInfo, picture ? 0 : file.duration,
                       file.name.ends_with(".mpg") ? 0.010 : 0.001, "container");
        EXPECT_EQ(ymdshow::CMedia::GetMediaDurationByMediaInfo(Narrow(file.path)),
                  media.m_durationByMediaInfo);
    }
}

std::string ValueOf(const Media& media, const std::string& key) {
    for (const auto& [name, value] : media.GetMediaInfoPairs()) {
        if (name == key) {
            return value;
        }
    }
    return "";
}

TEST(MediaInfoFiles, ReportNamesChinesePathsAndTheEndOfASequence) {
    const Media chinese(MediaDirectory() / L"\u7535\u5F71" / L"\u7247\u5B50.mp4");
    EXPECT_EQ(chinese.GetMediaInfoPairs().at(0),
              std::make_pair(std::string("General"), std::string()));
    EXPECT_TRUE(ValueOf(chinese, "Complete name").ends_with("\xC6\xAC\xD7\xD3.mp4"))
        << chinese.GetMediaInfo();

    const Media sequence(MediaDirectory() / "sequence" / "frame_0001.dpx");
    EXPECT_TRUE(ValueOf(sequence, "CompleteName_Last").ends_with("frame_0040.dpx"))
        << sequence.GetMediaInfo();
}

std::string Bytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Reads `bytes` as a file: in time, and with nothing in the records that no file has.
void ExpectSane(const fs::path& extension, const std::string& bytes) {
    fs::path path = fs::temp_directory_path() / L"ymd_mediainfo_bad";
    path += extension;
    std::ofstream(path, std::ios::binary) << bytes;
    const auto start = std::chrono::steady_clock::now();
    const Media media(path);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(media.m_videoInfos.size(), media.m_originalVideoTrackNum);
    EXPECT_EQ(media.m_audioInfos.size(), media.m_originalAudioTrackNum);
    const auto isDuration = [](std::int64_t time) { return time >= 0 && time <= LongestDuration; };
    EXPECT_TRUE(isDuration(media.m_durationByMediaInfo));
    for (const ymdshow::VideoInfo& video : media.m_videoInfos) {
        EXPECT_GE(video.width, 0);
        EXPECT_GE(video.height, 0);
        EXPECT_GE(video.avgFrameTime, 0);
        EXPECT_TRUE(isDuration(video.duration) && isDuration(video.sourceDuration));
        EXPECT_TRUE(std::isfinite(video.displayAspectRatio) && std::isfinite(video.rotation));
    }
    for (const ymdshow::AudioInfo& audio : media.m_audioInfos) {
        EXPECT_LE(audio.channels, 0x7FFFFFFFU);
        EXPECT_LE(audio.bitDepth, 0x7FFFFFFFU);
        EXPECT_TRUE(isDuration(audio.duration) && isDuration(audio.sourceDuration));
    }
    fs::remove(path);
}

TEST(MediaInfoFiles, BadFilesGiveSaneRecords) {
    std::mt19937 random(20240229);
    const std::vector<ProbedFile> files = ProbedFiles();
    ASSERT_FALSE(files.empty());
    // Without the library this test would prove nothing.
    ASSERT_TRUE(Media(files[0].path).m_hasMediaInfo);
    const auto randomByte = [&] { return static_cast<char>(random() & 0xFF); };
    for (const ProbedFile& file : files) {
        SCOPED_TRACE(file.name);
        const fs::path extension = file.path.extension();
        const std::string bytes = Bytes(file.path);
        ASSERT_FALSE(bytes.empty());
        for (const std::size_t size : {bytes.size() / 2, bytes.size() / 10, std::size_t{100},
                                       std::size_t{1}, std::size_t{0}}) {
            ExpectSane(extension, bytes.substr(0, size));
        }
        ExpectSane(extension, std::string(bytes.size(), '\0'));
        std::string noise(65536, '\0');
        std::generate(noise.begin(), noise.end(), randomByte);
        ExpectSane(extension, noise);
        ExpectSane(extension, bytes.substr(0, 64) + noise);

        // Every file is read 25 times with up to 40 bytes changed, half of the times in its
        // first and last kilobytes, where the headers are: 300 mutations in all.
        for (int copy = 0; copy < 25; ++copy) {
            SCOPED_TRACE(copy);
            std::string mutated = bytes;
            for (auto changes = 1 + random() % 40; changes > 0; --changes) {
                std::size_t at = random() % mutated.size();
                if (copy % 2 == 0) {
                    at %= std::min<std::size_t>(mutated.size(), 2048);
                    at = random() % 2 == 0 ? at : mutated.size() - 1 - at;
                }
                mutated[at] = random() % 4 == 0 ? '\xFF' : randomByte();
            }
            ExpectSane(extension, mutated);
        }
    }
}

// Last in the file: the language is the process's from here on.
TEST(MediaInfoFiles, LanguageChangesTheReport) {
    const fs::path file = fs::temp_directory_path() / L"\u4E2D\u6587.csv";
    std::ofstream(file, std::ios::binary)
        << "  Language_ISO639;zh-CN\nWidth;\xE5\xAE\xBD\xE5\xBA\xA6\n";
    EXPECT_EQ(ymdshow::CMedia::SetMediaInfoLanguage(Narrow(file)), 1);
    fs::remove(file);
    const Media media(MediaDirectory() / "plain.mp4");
    EXPECT_NE(ValueOf(media, "\xBF\xED\xB6\xC8"), "") << media.GetMediaInfo();
    EXPECT_EQ(media.m_videoInfos.at(0).width, 640);
}

} // namespace
