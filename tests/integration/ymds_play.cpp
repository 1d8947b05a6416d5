// The host program as a user meets it: exit status, report, JSON and saved picture.

#include <gtest/gtest.h>

#include <windows.h>

#include <cmath>
#include <filesystem>
#include <ostream>

#include "integration/ymds_program.h"

namespace ymds_tests {

namespace {

struct Kind {
    const wchar_t* file;
    unsigned video;
    unsigned audio;
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << Utf8(kind.file);
}

/// The six bars of the test clips, whatever moves in front of them.
void ExpectBars(const Image& image) {
    ASSERT_EQ(image.width, 320U);
    ASSERT_EQ(image.height, 240U);
    constexpr std::uint8_t bars[6][3] = {{0, 0, 255}, {0, 255, 0},   {0, 255, 255},
                                         {255, 0, 0}, {255, 0, 255}, {255, 255, 0}};
    for (unsigned bar = 0; bar < 6; ++bar) {
        const unsigned left = bar * 320 / 6;
        EXPECT_GT(image.Share(left + 8, left + 45, bars[bar]), 0.5) << "bar " << bar;
    }
    // The frame counter's dark box stands in the top left corner.
    constexpr std::uint8_t red[3] = {0, 0, 255};
    std::size_t redTop = 0;
    for (unsigned x = 0; x < 30; ++x) {
        const std::uint8_t* pixel = &image.bgr[(12U * image.width + x) * 3];
        redTop += std::abs(pixel[2] - red[2]) <= 60 && pixel[1] < 60 ? 1 : 0;
    }
    EXPECT_LT(redTop, 20U) << "the picture may be upside down";
}

bool HasEvent(const Json::Value& events, const std::string& name) {
    for (const Json::Value& event : events) {
        if (event["name"] == name && event["count"].asInt() >= 1) {
            return true;
        }
    }
    return false;
}

class PlayKinds : public testing::TestWithParam<Kind> {};

TEST_P(PlayKinds, PlaysToTheEndAndReportsIt) {
    const Scratch scratch;
    const std::wstring png = scratch.Path(L"picture.png");
    const std::wstring file = Media(GetParam().file);
    const Result result = RunYmds({L"play", file, L"--json", L"--snapshot", png});
    ASSERT_EQ(result.code, 0) << result.err;
    const Json::Value report = result.Json();
    ASSERT_TRUE(report.isObject()) << result.out;
    EXPECT_EQ(report["path"], Utf8(file));
    EXPECT_EQ(report["loaded"], true);
    EXPECT_TRUE(report["error"].isNull());
    EXPECT_EQ(report["end"], "complete");
    EXPECT_NEAR(report["duration_ms"].asInt(), 3000, 150);
    EXPECT_NEAR(report["played_ms"].asInt(), report["duration_ms"].asInt(), 250);
    EXPECT_EQ(report["video_tracks"].asUInt(), GetParam().video);
    EXPECT_EQ(report["audio_tracks"].asUInt(), GetParam().audio);
    EXPECT_TRUE(HasEvent(report["events"], "EC_COMPLETE")) << report["events"];

    const Json::Value& filters = report["filters"];
    ASSERT_GE(filters.size(), 1U + GetParam().video + GetParam().audio);
    for (const Json::Value& filter : filters) {
        EXPECT_FALSE(filter["name"].asString().empty());
        EXPECT_EQ(filter["clsid"].asString().size(), 38U);
        EXPECT_FALSE(filter["file"].asString().empty()) << filter["name"];
        EXPECT_TRUE(filter["module"].isNull());
    }
    // Data flows from the file reader, which Windows and Wine have under this class.
    EXPECT_EQ(filters[0]["clsid"], "{E436EBB5-524F-11CE-9F53-0020AF0BA770}");

    if (GetParam().video == 0) {
        EXPECT_TRUE(report["snapshot"].isNull());
        EXPECT_EQ(report["width"], 0);
        EXPECT_FALSE(std::filesystem::exists(png));
    } else {
        EXPECT_EQ(report["snapshot"], Utf8(png));
        EXPECT_EQ(report["width"], 320);
        EXPECT_EQ(report["height"], 240);
        ExpectBars(ReadPng(png));
    }
}

INSTANTIATE_TEST_SUITE_P(Ymds, PlayKinds,
                         testing::Values(Kind{L"clip.mp4", 1, 1}, Kind{L"clip.mkv", 1, 2},
                                         Kind{L"clip.avi", 1, 1}, Kind{L"clip.mpg", 1, 1},
                                         Kind{L"clip.mp3", 0, 1}, Kind{L"clip.wav", 0, 1}));

TEST(YmdsPlay, StopsAfterTheSecondsAndTalksToPeople) {
    const Scratch scratch;
    const std::wstring png = scratch.Path(L"p.png");
    const Result result =
        RunYmds({L"play", Media(L"测试.mp4"), L"--seconds", L"1", L"--snapshot", png});
    EXPECT_EQ(result.code, 0) << result.err;
    for (const char* part : {"测试.mp4", "Duration    0:03.0", "1 video, 1 audio", "320x240",
                             "{E436EBB5-524F-11CE-9F53-0020AF0BA770}", "(seconds)", "p.png"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << " in\n" << result.out;
    }
    // No live bar where nobody watches.
    EXPECT_EQ((result.out + result.err).find("playing"), std::string::npos) << result.err;
    ExpectBars(ReadPng(png));
}

TEST(YmdsPlay, LoopsUntilTheSecondsAreOver) {
    const Result result =
        RunYmds({L"play", Media(L"clip.wav"), L"--loop", L"--seconds", L"4.5", L"--json"});
    ASSERT_EQ(result.code, 0) << result.err;
    const Json::Value report = result.Json();
    EXPECT_EQ(report["end"], "seconds");
    EXPECT_GT(report["played_ms"].asInt(), 3300);
    EXPECT_TRUE(HasEvent(report["events"], "EC_COMPLETE"));
}

TEST(YmdsPlay, MarksTheFilterThatAModuleMade) {
    const Scratch scratch;
    const std::wstring clip = scratch.Write(L"clip.ymt", "test://320x180@25/1s?audio=440");
    const std::wstring script = scratch.Write(L"scheme.json", R"({"Schemes": [{"Type": "ymt",
        "Filters": [{"Name": "Own Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
                     "Path": "filters\\testsource.ax", "Type": "source", "IsCache": false}]}]})");
    const Result result =
        RunYmds({L"play", clip, L"--scheme", script, L"--json", L"--no-snapshot"});
    ASSERT_EQ(result.code, 0) << result.err;
    const Json::Value filters = result.Json()["filters"];
    ASSERT_FALSE(filters.empty());
    EXPECT_EQ(filters[0]["name"], "Own Source");
    EXPECT_NE(filters[0]["module"].asString().find("testsource.ax"), std::string::npos);
    for (Json::ArrayIndex i = 1; i < filters.size(); ++i) {
        EXPECT_TRUE(filters[i]["module"].isNull()) << filters[i];
    }
}

} // namespace

} // namespace ymds_tests
