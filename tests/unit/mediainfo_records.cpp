// What a media item makes of the media information library's answers, on a stand-in for it.

#include "fakes/MediaInfoFake.h"
#include "media_fixture.h"
#include "mediainfo_text.h"

using namespace media_tests;
using namespace std::string_literals;

namespace {

class MediaInfoRecords : public MediaTest {
protected:
    MediaInfoRecords() {
        LoadLibrariesFrom(MediaInfoFakeFile().parent_path());
        Media::GetMediaDurationByMediaInfo(""); // the first use loads the stand-in
        MediaInfoFake() = {};
    }
    ~MediaInfoRecords() override { EXPECT_EQ(MediaInfoFake().handles, 0); }

    /// `answers` to calls that begin with `calls`: "Format=AVC;Width=640" to "Get 1 0 ".
    static void Answer(const std::string& calls, const std::string& answers) {
        std::istringstream in(answers);
        for (std::string item; std::getline(in, item, ';');) {
            const std::size_t equals = item.find('=');
            MediaInfoFake().answers[calls + item.substr(0, equals)] = item.substr(equals + 1);
        }
    }

    /// The record of a file with one video stream that answers so.
    static std::string Video(const std::string& answers, bool corrected = true) {
        MediaInfoFake() = {};
        Answer("Count ", "1=1");
        Answer("Get 1 0 ", answers);
        Media media(nullptr);
        media.m_fix1088Height = media.m_evenVideoSize = corrected;
        EXPECT_EQ(media.SetMediaPath("u://a"), 1);
        return TextOf(media.m_videoInfos.at(0));
    }

    /// Since the last look.
    static std::string Calls() { return std::exchange(MediaInfoFake().calls, {}); }
};

TEST_F(MediaInfoRecords, StreamsOfEveryKindAreAskedInOrder) {
    Answer("Count ", "1=1;5=1;2=2");
    Answer("Get 0 0 ", "Format=MPEG-4;Duration=12345;CompleteName=a1");
    Answer("Get 1 0 ", "Format=AVC;Width=640;Height=360");
    Answer("Get 5 0 ", "Format=JPEG;Width=1920;Height=1088;Width_Original=7;Duration=40;"
                       "FrameRate=50;DisplayAspectRatio=2;Rotation=90;Source_Duration=5");
    Answer("Get 2 1 ", "Format=AAC LC;SamplingRate=48000;Channels=6;BitDepth=16;Duration=1000;"
                       "Source_Duration=2000");
    Media media("u://a", nullptr);
    const std::string calls = Calls();
    EXPECT_TRUE(Matches(calls, "New\nOption ParseSpeed=0\nOption Complete=\nOpen u://a\nCount 1\n"
                               "Count 5\nCount 2\nGet 0 0 *\nInform 0\nClose\nDelete\n"))
        << calls;
    EXPECT_EQ(Facts(media)[1], "202000");
    EXPECT_EQ(TextOf(media.m_videoInfos.at(0)), "avc 640x360 0 0 0 0 0");
    EXPECT_EQ(TextOf(media.m_videoInfos.at(1)), "jpeg 1920x1080 -1 0 200000 400000 0");
    EXPECT_EQ(TextOf(media.m_audioInfos.at(0)), " 0 0 0 0 0");
    EXPECT_EQ(TextOf(media.m_audioInfos.at(1)), "aac lc 48000000 6 16 10000000 20000000");
    EXPECT_EQ(media.m_mediaFormat, "mpeg-4");
    for (const char* last : {"a1", "", "a9"}) { // at the end a numbered sequence
        MediaInfoFake().answers["Get 0 0 CompleteName_Last"] = last;
        EXPECT_EQ(media.SetMediaPath("u://a"), 1);
        EXPECT_EQ(media.m_durationByMediaInfo, std::string(last) == "a9" ? 0 : 123450000);
    }
}

TEST_F(MediaInfoRecords, VideoFields) {
    const std::pair<const char*, const char*> cases[] = {
        {"Format=MPEG-4 Visual;Duration=12345;Source_Duration=12346.9",
         "mpeg-4 visual 0x0 0 0 0 123450000 123460000"},
        {"FrameRate=25.000;FrameRate_Nominal=50;Rotation=90.000", " 0x0 0 90 400000 0 0"},
        {"FrameRate_Nominal=30", " 0x0 0 0 333333 0 0"},
        {"FrameRate=0.000;FrameRate_Nominal=30", " 0x0 0 0 0 0 0"},
        // The ratio's text overrules a number that differs by more than 0.01.
        {"DisplayAspectRatio=1.77;DisplayAspectRatio/String=16:9", " 0x0 1.77 0 0 0 0"},
        {"DisplayAspectRatio=1.79;DisplayAspectRatio/String=16:9", " 0x0 1.77778 0 0 0 0"},
        {"DisplayAspectRatio/String=16:9", " 0x0 0 0 0 0 0"},
    };
    for (const auto& [answers, record] : cases) {
        EXPECT_EQ(Video(answers), record) << answers;
    }
}

TEST_F(MediaInfoRecords, SizeRule) {
    // original, current, ratio, the size that is chosen
    const char* const cases[][6] = {
        {"1280", "720", "720", "576", "1.778", "1280x720"},
        {"720", "576", "1280", "720", "1.778", "1280x720"},
        {"640", "360", "1280", "720", "1.778", "640x360"}, // as near
        {"640", "360", "720", "576", "0", "720x576"},
        {"1024", "", "720", "576", "1.778", "1024x576"},
        {"100", "", "1024", "576", "1.778", "1024x576"},
        {"", "406", "720", "576", "1.778", "720x406"},
        {"320", "240", "640", "", "1.333", "320x240"},
        {"320", "", "", "480", "0", "320x480"},
        {"320", "", "640", "", "0", "640x0"},
        {"-2", "", "-640", "481", "0", "0x480"},
        {"1921", "1089", "1920", "1088", "0", "1920x1080"},
        {"", "", "1", "480", "0", "0x480"}, // one pixel is none
    };
    for (const auto& [width, height, currentWidth, currentHeight, ratio, size] : cases) {
        const std::string answers = std::string("Width_Original=") + width +
                                    ";Height_Original=" + height + ";Width=" + currentWidth +
                                    ";Height=" + currentHeight + ";DisplayAspectRatio=" + ratio;
        EXPECT_EQ(Video(answers), std::string(" ") + size + " " + ratio + " 0 0 0 0") << answers;
    }
    EXPECT_EQ(Video("Width=1921;Height=1088", false), " 1921x1088 0 0 0 0 0");
}

TEST_F(MediaInfoRecords, ReportIsTrimmedAndCutIntoPairs) {
    MediaInfoFake().answers["Inform 0"] = "\r\n \tGeneral\r\nComplete name  : C:\\a.mp4\r\n\r\n"
                                          "Empty :\n : nameless\n:\n\r\nTime: 1:02:03 \t\r\n\r\n";
    Media media("u://a", nullptr);
    EXPECT_EQ(media.GetMediaInfo(), "General\r\nComplete name  : C:\\a.mp4\r\n\r\n"
                                    "Empty :\n : nameless\n:\n\r\nTime: 1:02:03");
    std::string pairs;
    for (const auto& [key, value] : media.GetMediaInfoPairs()) {
        pairs += key + "=" + value + ";";
    }
    EXPECT_EQ(pairs, "General=;Complete name=C:\\a.mp4;Empty=;=nameless;Time=1:02:03;");
    MediaInfoFake().answers["Inform 0"] = " \t\r\n";
    EXPECT_EQ(media.SetMediaPath("u://b"), 1);
    EXPECT_EQ(media.GetMediaInfo(), "");
    EXPECT_TRUE(media.m_hasMediaInfo);
}

TEST_F(MediaInfoRecords, FailuresLeaveNoFactsAndNoHandle) {
    for (const char* answer : {"New=no", "Open u://b=0", "Open u://b=-1"}) {
        MediaInfoFake() = {};
        Answer("", "Count 1=1;Count 2=1;Get 0 0 Format=AVI;Get 0 0 Duration=1");
        Media media("u://a", nullptr);
        MediaInfoFake() = {};
        Answer("", answer);
        log.Clear();
        EXPECT_EQ(media.SetMediaPath("u://b"), 1);
        EXPECT_EQ(log.Has("*DLL Failed"), *answer == 'N');
        EXPECT_TRUE(Calls().ends_with(*answer == 'N' ? "New\n" : "Open u://b\nClose\nDelete\n"));
        EXPECT_EQ(Facts(media)[1], "000000");
        EXPECT_TRUE(media.m_videoInfos.empty() && media.m_audioInfos.empty());
        EXPECT_EQ(media.m_mediaFormat, "");
        EXPECT_EQ(media.m_durationByMediaInfo, 0);
        EXPECT_FALSE(media.m_hasMediaInfo);
        EXPECT_EQ(Media::GetMediaDurationByMediaInfo("u://b"), 0);
    }
    MediaInfoFake() = {};
    Answer("", "Count 1=-1;Get 0 0 Duration=12345"); // -1 after an exception in the library
    EXPECT_TRUE(Media("u://a", nullptr).m_hasMediaInfo);
    EXPECT_EQ(Media::GetMediaDurationByMediaInfo("a"), 123450000);
    EXPECT_TRUE(Calls().ends_with("New\nOpen a\nGet 0 0 Duration\nClose\nDelete\n"));
}

TEST_F(MediaInfoRecords, ChineseTextInWhatTheLibrarySpeaks) {
    const char* const cases[][4] = {
        // the answer to the choice of UTF-8, the report, the path that is opened, the report here
        {"", "\xE7\x94\xB5\xF0\x9F\x8E\xAC", "\xE7\x94\xB5", "\xB5\xE7?"},
        {"", "\xB5\xE7 not UTF-8", "\xE7\x94\xB5", "\xB5\xE7 not UTF-8"},
        {"not known", "\xB5\xE7", "\xB5\xE7", "\xB5\xE7"}};
    for (const auto& [answer, told, path, report] : cases) {
        MediaInfoFake().answers = {{"Option CharSet=UTF-8", answer}, {"Inform 0", told}};
        const Media media("u://\xB5\xE7", nullptr);
        EXPECT_TRUE(Matches(Calls(), std::string("*u://") + path + "\n*")) << told;
        EXPECT_TRUE(media.GetMediaInfo().starts_with(report)) << told;
    }
}

TEST_F(MediaInfoRecords, LanguageFile) {
    ScratchDirectory scratch;
    const std::filesystem::path file = scratch.Touch(L"\u7535.csv");
    const std::string utf8 = "a;\xE7\x94\xB5";
    const std::string told = "New\nOption Language=" + utf8 + "\nDelete\n";
    const std::pair<std::string, std::string> cases[] = {
        {"\xEF\xBB\xBF", "New\nDelete\n"},
        {"\xEF\xBB\xBF" + utf8, told},
        {"a;\xB5\xE7\0b"s, told}, // a zero ends it
        {"\xFF\xFE\x61\0;\0\x35\x75\0\0b\0"s, told},
        {"\xFE\xFF\0a\0;\x75\x35"s, told}};
    for (const auto& [bytes, calls] : cases) {
        std::ofstream(file, std::ios::binary) << bytes;
        EXPECT_EQ(Media::SetMediaInfoLanguage(Gbk(file.wstring())), calls == told);
        EXPECT_EQ(Calls(), calls);
    }
    EXPECT_EQ(Media::SetMediaInfoLanguage("C:\\no\\such.csv"), 0);
}

} // namespace
