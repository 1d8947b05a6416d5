// What a media item makes of the library's answers, on a stand-in for the library.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <ymdshow/ymdshow.h>
#include <ymlib/Log.h>

#include "../fakes/MediaInfoFake.h"

namespace fs = std::filesystem;
using namespace fakes;

namespace {

struct Media : ymdshow::CMedia {
    Media() : CMedia(nullptr) { m_mediaPath = "some.mp4"; }
    using CMedia::_FreeMediaInfo;
    using CMedia::_ReadInfoByMediaIfo;
    using CMedia::m_audioInfos;
    using CMedia::m_durationByMediaInfo;
    using CMedia::m_evenVideoSize;
    using CMedia::m_fix1088Height;
    using CMedia::m_hasMediaInfo;
    using CMedia::m_mediaFormat;
    using CMedia::m_mediaPath;
    using CMedia::m_originalAudioTrackNum;
    using CMedia::m_originalVideoTrackNum;
    using CMedia::m_videoInfos;
};

std::string Text(const ymdshow::VideoInfo& info) {
    std::ostringstream out;
    out << info.format << ' ' << info.width << 'x' << info.height << " ratio "
        << info.displayAspectRatio << " rotation " << info.rotation << " frame "
        << info.avgFrameTime << " duration " << info.duration << ' ' << info.sourceDuration;
    return out.str();
}

std::string Text(const ymdshow::AudioInfo& info) {
    std::ostringstream out;
    out << info.format << ' ' << info.samplingRate << " Hz " << info.channels << " channels "
        << info.bitDepth << " bits duration " << info.duration << ' ' << info.sourceDuration;
    return out.str();
}

/// The fake's calls without the one that only some ANSI code pages need.
std::string Calls() {
    std::istringstream in(MediaInfoFake()->calls());
    std::string out;
    for (std::string line; std::getline(in, line);) {
        if (line != "Option CharSet=UTF-8") {
            out += line + "\n";
        }
    }
    return out;
}

/// Without the library there is one record and no fact. Then the stand-in is put in place,
/// for good.
class AbsentThenFake : public ::testing::Environment {
public:
    void SetUp() override {
        LoadLibrariesFrom(ProgramDirectory());
        std::vector<std::string> records;
        const unsigned sink = ymlib::CLoger::GetLoger()->AddSink([&](const ymlib::LogRecord& r) {
            records.push_back(std::to_string(r.level) + " " + r.sourceFile + " " + r.function +
                              " " + fs::path(r.text).string());
        });
        Media media;
        media.m_videoInfos.resize(1);
        media.m_originalVideoTrackNum = 1;
        EXPECT_EQ(media._ReadInfoByMediaIfo(), 0);
        EXPECT_EQ(media.m_videoInfos.size() + media.m_originalVideoTrackNum, 0U);
        EXPECT_FALSE(media.m_hasMediaInfo);
        ymlib::CLoger::GetLoger()->RemoveSink(sink);
        EXPECT_EQ(records,
                  (std::vector<std::string>{"8 src/YMMedia ymdshow::CMedia::_ReadInfoByMediaIfo "
                                            "Load MediaInfo DLL Failed"}));
        EXPECT_EQ(ymdshow::CMedia::GetMediaDurationByMediaInfo("some.mp4"), 0);
        EXPECT_EQ(ymdshow::CMedia::SetMediaInfoLanguage("some.csv"), 0);
        LoadLibrariesFrom(MediaInfoFakeFile().parent_path());
        // The first use loads the stand-in.
        ymdshow::CMedia::GetMediaDurationByMediaInfo("");
        ASSERT_NE(MediaInfoFake(), nullptr);
    }
};
const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new AbsentThenFake);

class MediaInfoRecords : public ::testing::Test {
protected:
    void SetUp() override { MediaInfoFake()->reset(); }
    void TearDown() override {
        EXPECT_EQ(MediaInfoFake()->liveHandles(), 0);
        EXPECT_EQ(std::string(MediaInfoFake()->calls()).find("UNEXPECTED"), std::string::npos);
    }

    /// `answers`: "Format=AVC;Width=640"
    static void Answer(int kind, std::size_t stream, const std::string& answers) {
        std::istringstream in(answers);
        for (std::string answer; std::getline(in, answer, ';');) {
            const std::size_t equals = answer.find('=');
            MediaInfoFake()->answer(kind, stream, answer.substr(0, equals).c_str(),
                                    answer.substr(equals + 1).c_str());
        }
    }

    /// The record of a file with one video stream, which answers so.
    static void ReadVideo(Media& media, const std::string& answers) {
        MediaInfoFake()->reset();
        MediaInfoFake()->count(Video, 1);
        Answer(Video, 0, answers);
        ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
        ASSERT_EQ(media.m_videoInfos.size(), 1U);
    }
};

TEST_F(MediaInfoRecords, AsksInThePublishedOrder) {
    MediaInfoFake()->count(Video, 1);
    MediaInfoFake()->count(Image, 1);
    MediaInfoFake()->count(Audio, 1);
    Media media;
    ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_EQ(Calls(), "New\nOption ParseSpeed=0\nOption Complete=\nOpen some.mp4\n"
                       "Count 1\nCount 5\nCount 2\n"
                       "Get 0 0 Format\nGet 0 0 Duration\nGet 0 0 CompleteName\n"
                       "Get 0 0 CompleteName_Last\n"
                       "Get 1 0 Format\nGet 1 0 Width_Original\nGet 1 0 Height_Original\n"
                       "Get 1 0 Width\nGet 1 0 Height\nGet 1 0 DisplayAspectRatio\n"
                       "Get 1 0 DisplayAspectRatio/String\nGet 1 0 Rotation\nGet 1 0 FrameRate\n"
                       "Get 1 0 FrameRate_Nominal\nGet 1 0 Duration\nGet 1 0 Source_Duration\n"
                       "Get 5 0 Format\nGet 5 0 Duration\nGet 5 0 Width\nGet 5 0 Height\n"
                       "Get 5 0 FrameRate\nGet 5 0 FrameRate_Nominal\n"
                       "Get 2 0 Format\nGet 2 0 Duration\nGet 2 0 Source_Duration\n"
                       "Get 2 0 SamplingRate\nGet 2 0 Channels\nGet 2 0 BitDepth\n"
                       "Inform 0\nClose\nDelete\n");
    EXPECT_EQ(Text(media.m_videoInfos.at(0)), " 0x0 ratio 0 rotation 0 frame 0 duration 0 0");
    EXPECT_EQ(Text(media.m_audioInfos.at(0)), " 0 Hz 0 channels 0 bits duration 0 0");
}

TEST_F(MediaInfoRecords, VideoFields) {
    const std::pair<const char*, const char*> cases[] = {
        {"Format=MPEG-4 Visual;Duration=12345;Source_Duration=12346.9",
         "mpeg-4 visual 0x0 ratio 0 rotation 0 frame 0 duration 123450000 123460000"},
        {"Duration=9999999999;Source_Duration=n/a",
         " 0x0 ratio 0 rotation 0 frame 0 duration 21474836470000 0"},
        {"FrameRate=25.000;FrameRate_Nominal=50;Rotation=90.000",
         " 0x0 ratio 0 rotation 90 frame 400000 duration 0 0"},
        {"FrameRate_Nominal=30", " 0x0 ratio 0 rotation 0 frame 333333 duration 0 0"},
        {"FrameRate=0.000;FrameRate_Nominal=30", " 0x0 ratio 0 rotation 0 frame 0 duration 0 0"},
        {"Width=1920;Height=1088;DisplayAspectRatio=1.778",
         " 1920x1080 ratio 1.778 rotation 0 frame 0 duration 0 0"},
        {"Width=-640;Width_Original=-2;Height=481",
         " 0x480 ratio 0 rotation 0 frame 0 duration 0 0"}};
    for (const auto& [answers, record] : cases) {
        Media media;
        ReadVideo(media, answers);
        EXPECT_EQ(Text(media.m_videoInfos.at(0)), record);
    }
}

TEST_F(MediaInfoRecords, DisplayAspectRatioRule) {
    const struct {
        const char* number;
        const char* text;
        float ratio;
    } cases[] = {
        {"1.778", "16:9", 1.778F},  {"1.333", "16:9", 16.0F / 9.0F}, {"", "16:9", 0.0F},
        {"1.778", "", 1.778F},      {"1.850", "2.35", 1.85F},        {"1.850", "2.35:1", 2.35F},
        {"1.850", "2.35:0", 1.85F}, {"1.333", "4:3:1", 1.333F},      {"x", "y:z", 0.0F},
    };
    for (const auto& c : cases) {
        Media media;
        ReadVideo(media, std::string("DisplayAspectRatio=") + c.number +
                             ";DisplayAspectRatio/String=" + c.text);
        EXPECT_FLOAT_EQ(media.m_videoInfos.at(0).displayAspectRatio, c.ratio)
            << c.number << " and " << c.text;
    }
}

TEST_F(MediaInfoRecords, SizeRule) {
    const struct {
        const char* why;
        const char* original[2];
        const char* current[2];
        const char* ratio;
        std::int32_t width;
        std::int32_t height;
    } cases[] = {
        {"original is nearer", {"1280", "720"}, {"720", "576"}, "1.778", 1280, 720},
        {"current is nearer", {"720", "576"}, {"1280", "720"}, "1.778", 1280, 720},
        {"as near: original", {"640", "360"}, {"1280", "720"}, "1.778", 640, 360},
        {"no ratio: current", {"640", "360"}, {"720", "576"}, "", 720, 576},
        {"width only, nearer", {"1024", ""}, {"720", "576"}, "1.778", 1024, 576},
        {"width only, farther", {"100", ""}, {"1024", "576"}, "1.778", 1024, 576},
        {"height only, nearer", {"", "406"}, {"720", "576"}, "1.778", 720, 406},
        {"height only, as near", {"", "1080"}, {"1920", "1088"}, "1.778", 1920, 1080},
        {"height only, no ratio", {"", "406"}, {"720", "576"}, "", 720, 576},
        {"current only", {"", ""}, {"320", "240"}, "1.333", 320, 240},
        {"original only", {"320", "240"}, {"", ""}, "1.333", 320, 240},
        {"current in part, original whole", {"320", "240"}, {"640", ""}, "1.333", 320, 240},
        {"a half of each", {"320", ""}, {"", "480"}, "", 320, 480},
        {"both widths only", {"320", ""}, {"640", ""}, "", 640, 0},
        {"coded height and odd sizes", {"1921", "1089"}, {"1920", "1088"}, "", 1920, 1080},
        {"one pixel is none", {"", ""}, {"1", "481"}, "", 0, 480},
    };
    for (const auto& c : cases) {
        Media media;
        ReadVideo(media, std::string("Width_Original=") + c.original[0] +
                             ";Height_Original=" + c.original[1] + ";Width=" + c.current[0] +
                             ";Height=" + c.current[1] + ";DisplayAspectRatio=" + c.ratio);
        EXPECT_EQ(media.m_videoInfos.at(0).width, c.width) << c.why;
        EXPECT_EQ(media.m_videoInfos.at(0).height, c.height) << c.why;
    }
    Media plain;
    plain.m_fix1088Height = false;
    plain.m_evenVideoSize = false;
    ReadVideo(plain, "Width=1920;Height=1088;Height_Original=1087;DisplayAspectRatio=1.778");
    EXPECT_EQ(plain.m_videoInfos.at(0).height, 1087);
}

TEST_F(MediaInfoRecords, ImagesStandAfterTheVideosAndAudioOnItsOwn) {
    const MediaInfoFakeControls& fake = *MediaInfoFake();
    fake.count(Video, 1);
    fake.count(Image, 1);
    fake.count(Audio, 2);
    Answer(Video, 0, "Format=AVC;Width=640;Height=360");
    Answer(Image, 0,
           "Format=JPEG;Width=1920;Height=1088;Width_Original=7;Duration=40;FrameRate=50;"
           "DisplayAspectRatio=1.778;Rotation=90;Source_Duration=5");
    Answer(Audio, 1,
           "Format=AAC LC;SamplingRate=48000;Channels=6;BitDepth=16;Duration=1000;"
           "Source_Duration=2000");
    Media media;
    ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_EQ(media.m_originalVideoTrackNum, 2U);
    EXPECT_EQ(media.m_originalAudioTrackNum, 2U);
    ASSERT_EQ(media.m_videoInfos.size(), 2U);
    ASSERT_EQ(media.m_audioInfos.size(), 2U);
    EXPECT_EQ(Text(media.m_videoInfos[0]), "avc 640x360 ratio 0 rotation 0 frame 0 duration 0 0");
    EXPECT_EQ(Text(media.m_videoInfos[1]),
              "jpeg 1920x1080 ratio -1 rotation 0 frame 200000 duration 400000 0");
    EXPECT_EQ(Text(media.m_audioInfos[0]), " 0 Hz 0 channels 0 bits duration 0 0");
    EXPECT_EQ(Text(media.m_audioInfos[1]),
              "aac lc 48000000 Hz 6 channels 16 bits duration 10000000 20000000");
}

TEST_F(MediaInfoRecords, ContainerFactsAndNumberedSequences) {
    for (const auto& [names, duration] :
         {std::pair("CompleteName=a.mp4", 123450000),
          {"CompleteName=a.mp4;CompleteName_Last=a.mp4", 123450000},
          {"CompleteName=a0001.dpx;CompleteName_Last=a0099.dpx", 0}}) {
        Media media;
        MediaInfoFake()->reset();
        Answer(General, 0, std::string("Format=MPEG-4;Duration=12345;") + names);
        ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
        EXPECT_EQ(media.m_mediaFormat, "mpeg-4");
        EXPECT_EQ(media.m_durationByMediaInfo, duration) << names;
    }
}

TEST_F(MediaInfoRecords, ReportIsTrimmedAndCutIntoPairs) {
    MediaInfoFake()->report("\r\n \tGeneral\r\nComplete name  : C:\\a.mp4\r\n\r\n"
                            "Audio #2\nEmpty :\n : nameless\n:\n\r\nTime: 1:02:03 \t\r\n\r\n");
    Media media;
    ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_EQ(media.GetMediaInfo(), "General\r\nComplete name  : C:\\a.mp4\r\n\r\n"
                                    "Audio #2\nEmpty :\n : nameless\n:\n\r\nTime: 1:02:03");
    const std::vector<std::pair<std::string, std::string>> pairs{
        {"General", ""},  {"Complete name", "C:\\a.mp4"},
        {"Audio #2", ""}, {"Empty", ""},
        {"", "nameless"}, {"Time", "1:02:03"}};
    EXPECT_EQ(media.GetMediaInfoPairs(), pairs);

    media._FreeMediaInfo();
    EXPECT_TRUE(media.GetMediaInfoPairs().empty());
    EXPECT_FALSE(media.m_hasMediaInfo);

    MediaInfoFake()->report(" \t\r\n");
    ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_EQ(media.GetMediaInfo(), "");
    EXPECT_TRUE(media.m_hasMediaInfo);
}

TEST_F(MediaInfoRecords, FailuresLeaveNoFactsAndNoHandle) {
    const MediaInfoFakeControls& fake = *MediaInfoFake();
    const struct {
        const char* what;
        bool refusesHandles;
        std::size_t openResult;
        const char* calls;
    } cases[] = {
        {"no handle", true, 1, "New\n"},
        {"not opened", false, 0,
         "New\nOption ParseSpeed=0\nOption Complete=\nOpen some.mp4\nClose\nDelete\n"},
        {"exception in the library", false, static_cast<std::size_t>(-1),
         "New\nOption ParseSpeed=0\nOption Complete=\nOpen some.mp4\nClose\nDelete\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Media media;
        Answer(General, 0, "Format=AVI;Duration=1");
        fake.count(Video, 1);
        ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
        ASSERT_EQ(media.m_mediaFormat, "avi");
        fake.reset();
        fake.refuseHandles(c.refusesHandles);
        fake.openResult(c.openResult);
        EXPECT_EQ(media._ReadInfoByMediaIfo(), 0);
        EXPECT_EQ(Calls(), c.calls);
        EXPECT_EQ(media.m_originalVideoTrackNum + media.m_videoInfos.size(), 0U);
        EXPECT_EQ(media.m_mediaFormat, "");
        EXPECT_EQ(media.m_durationByMediaInfo, 0);
        fake.reset();
    }
    fake.count(Video, static_cast<std::size_t>(-1)); // the library's answer to its own failure
    Media media;
    EXPECT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_EQ(media.m_originalVideoTrackNum, 0U);
}

TEST_F(MediaInfoRecords, ChineseTextInAnyAnsiCodePage) {
    // "电影" in UTF-8 and in code page 936, and a character that only UTF-8 has.
    MediaInfoFake()->report("Title : \xE7\x94\xB5\xE5\xBD\xB1 \xF0\x9F\x8E\xAC");
    Media media;
    media.m_mediaPath = "D:\\\xB5\xE7\xD3\xB0\\a.mp4";
    ASSERT_EQ(media._ReadInfoByMediaIfo(), 1);
    EXPECT_NE(Calls().find("Open D:\\\xE7\x94\xB5\xE5\xBD\xB1\\a.mp4\n"), std::string::npos)
        << Calls();
    EXPECT_EQ(media.GetMediaInfo().substr(0, 13), "Title : \xB5\xE7\xD3\xB0 ");
    EXPECT_NE(media.GetMediaInfo().find('?'), std::string::npos);
}

TEST_F(MediaInfoRecords, DurationOfAPath) {
    Answer(General, 0, "Duration=12345");
    EXPECT_EQ(ymdshow::CMedia::GetMediaDurationByMediaInfo("a.mp4"), 123450000);
    EXPECT_EQ(Calls(), "New\nOpen a.mp4\nGet 0 0 Duration\nClose\nDelete\n");
    MediaInfoFake()->openResult(0);
    EXPECT_EQ(ymdshow::CMedia::GetMediaDurationByMediaInfo("a.mp4"), 0);
    MediaInfoFake()->refuseHandles(true);
    EXPECT_EQ(ymdshow::CMedia::GetMediaDurationByMediaInfo("a.mp4"), 0);
}

TEST_F(MediaInfoRecords, LanguageFile) {
    const std::string utf8 = "  Language_ISO639;zh\nWidth;\xE7\x94\xB5\n";
    const struct {
        const char* what;
        std::string bytes;
        std::string option;
    } cases[] = {
        {"empty", "", ""},
        {"mark alone", "\xEF\xBB\xBF", ""},
        {"UTF-8", utf8, utf8},
        {"UTF-8 with a mark", "\xEF\xBB\xBF" + utf8, utf8},
        {"code page 936", "  Language_ISO639;zh\nWidth;\xB5\xE7\n", utf8},
        {"UTF-16", std::string("\xFF\xFE\x35\x75\n\0", 6), "\xE7\x94\xB5\n"},
        {"a zero ends it", std::string("a;b\n\0c;d\n", 9), "a;b\n"},
        {"ASCII", std::string(40000, 'x'), std::string(40000, 'x')},
    };
    // 电.csv
    const fs::path file = ProgramDirectory() / L"\u7535.csv";
    std::string narrow = ProgramDirectory().string() + "\\\xB5\xE7.csv";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::ofstream(file, std::ios::binary) << c.bytes;
        MediaInfoFake()->reset();
        EXPECT_EQ(ymdshow::CMedia::SetMediaInfoLanguage(narrow), c.option.empty() ? 0 : 1);
        EXPECT_EQ(Calls(), c.option.empty() ? "New\nDelete\n"
                                            : "New\nOption Language=" + c.option + "\nDelete\n");
    }
    fs::remove(file);
    EXPECT_EQ(ymdshow::CMedia::SetMediaInfoLanguage(narrow), 0);
    EXPECT_EQ(ymdshow::CMedia::SetMediaInfoLanguage(""), 0);
}

} // namespace
