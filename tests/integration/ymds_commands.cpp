// The host program as a user meets it: exit status, report, JSON, saved picture and what it
// says when it cannot do what was asked. The system's splitter may leave out any of several
// streams when the machine is busy, so that what counts has a single one.

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "../filters/pattern/FramePattern.h"
#include "integration/ymds_program.h"

namespace ymds_tests {

namespace {

std::string Utf8(const std::wstring& text) {
    const std::u8string narrow = std::filesystem::path(text).u8string();
    return {narrow.begin(), narrow.end()};
}

void ExpectSays(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << '"' << part << "\" in\n" << text;
    }
}

TEST(YmdsUsage, IsTwoWhenWrong) {
    const std::pair<std::vector<std::wstring>, const char*> cases[] = {
        {{}, "subcommand"},
        {{L"play"}, "FILE"},
        {{L"play", L"x.mp4", L"--bogus"}, "--bogus"},
        {{L"play", L"x.mp4", L"--seconds", L"-1"}, "--seconds"},
        {{L"info"}, "FILE"}};
    for (const auto& [arguments, says] : cases) {
        const Result result = RunYmds(arguments);
        EXPECT_EQ(result.code, 2) << says;
        EXPECT_EQ(result.out, "");
        ExpectSays(result.err, {says});
    }
}

TEST(YmdsErrors, NameTheFileAndTheReason) {
    const Scratch scratch;
    const std::pair<std::wstring, const char*> files[] = {
        {Media(L"missing.mp4"), "not found"},
        {Media(L"empty.mp4"), "is empty"},
        {Media(L"mediainfo"), "is a directory"},
        {Media(L"text.mp4"), "nothing can read it"}};
    for (const auto& [file, reason] : files) {
        for (const wchar_t* const command : {L"play", L"info"}) {
            const Result plain = RunYmds({command, file});
            EXPECT_EQ(plain.code, 1) << reason;
            EXPECT_EQ(plain.out, "");
            ExpectSays(plain.err, {Utf8(file) + ": " + reason});
        }
    }
    ExpectSays(RunYmds({L"info", Media(L"clip.wav"), L"--scheme", L"no"}).err,
               {"no; there are: media, none"});
    const Result json = RunYmds({L"play", Media(L"text.mp4"), L"--json"});
    EXPECT_EQ(json.code, 1);
    ExpectSays(json.err,
               {"way 3, TrySourceFilter Media Source: 0x8004", "way 4, RenderFilter: 0x8004"});
    EXPECT_EQ(json.Json()["loaded"], false) << json.out;
    ExpectSays(json.Json()["error"].asString(), {"nothing can read it"});

    const std::pair<std::wstring, const char*> scripts[] = {
        {scratch.Write(L"syntax.json", "{\"Schemes\":\n [ {] }"), "syntax.json:2:"},
        {scratch.Write(L"none.json", "{}"), "Schemes"},
        {scratch.Write(L"empty.json", ""), "empty"},
        {scratch.Path(L"missing.json"), "missing.json"}};
    for (const auto& [script, says] : scripts) {
        for (const Result& result : {RunYmds({L"scheme", L"check", script}),
                                     RunYmds({L"play", Media(L"clip.wav"), L"--scheme", script})}) {
            EXPECT_EQ(result.code, 1) << says;
            ExpectSays(result.err, {says});
        }
    }
}

TEST(YmdsScheme, CheckShowsTypesFiltersAndWhatIsIgnored) {
    const Scratch scratch;
    const std::wstring script = scratch.Write(L"s.json", R"({"Schemes": [
  {"Type": "AVI; mkv", "Filters": [
    {"Name": "First", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "Type": "render"},
    {"Name": "Nowhere"},
    {"Name": "Second", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "Path": "x.ax"}]}]})");
    const Result result = RunYmds({L"scheme", L"check", script});
    EXPECT_EQ(result.code, 0) << result.err;
    ExpectSays(result.out, {"avi\n  1 First  (render)", "mkv\n  1 First", "2 Second", "x.ax",
                            "s.json:4:", "ignored: Schemes[0].Filters[1]", "Nowhere"});
}

TEST(YmdsInfo, ShowsTheFacts) {
    const Result json = RunYmds({L"info", Media(L"clip.mkv"), L"--json"});
    ASSERT_EQ(json.code, 0) << json.err;
    const Json::Value facts = json.Json();
    EXPECT_EQ(facts["width"], 320);
    EXPECT_EQ(facts["height"], 240);
    EXPECT_NEAR(facts["duration_ms"].asInt(), 3000, 150);
    EXPECT_NEAR(facts["frame_rate"].asDouble(), 25.0, 0.01);
    ASSERT_EQ(facts["media_info"].size(), 4U) << "general, video and two of audio";
    EXPECT_EQ(facts["media_info"][0]["facts"]["Format"], "Matroska");
    const Result sound = RunYmds({L"info", Media(L"clip.wav"), L"--json"});
    EXPECT_EQ(sound.Json()["audio_tracks"], 1);
    EXPECT_EQ(sound.Json()["video_tracks"], 0);

    const Result table = RunYmds({L"info", Media(L"clip.mkv")});
    EXPECT_EQ(table.code, 0);
    ExpectSays(table.out, {"320x240", "Matroska", "Audio #2"});
}

/// The picture of the pattern source, its right side up, and blue where it is blue.
void ExpectClip(const Image& image, int width, int height) {
    ASSERT_TRUE(image.width == static_cast<unsigned>(width) &&
                image.bgr.size() == 3U * image.width * static_cast<unsigned>(height));
    const auto pixel = [&](int x, int y) {
        return &image.bgr[static_cast<std::size_t>(y * width + x) * 3];
    };
    EXPECT_GE(ymfilters::ReadFrameNumber(width, height,
                                         [&](int x, int y) { return int{pixel(x, y)[1]}; }),
              0);
    EXPECT_GT(pixel(width * 13 / 16, height / 2)[0], 200);
    EXPECT_LT(pixel(width * 13 / 16, height / 2)[2], 50);
}

TEST(YmdsPlay, PlaysToTheEndAndReportsIt) {
    const Scratch scratch;
    const std::wstring png = scratch.Path(L"picture.png");
    const auto play = [&png](const std::wstring& path, int duration, int videoTracks) {
        const Result result =
            RunYmds({L"play", path, L"--json", L"--snapshot", png, L"--scheme", L"none"});
        EXPECT_EQ(result.code, 0) << result.err;
        const Json::Value report = result.Json();
        EXPECT_EQ(report["path"], Utf8(path));
        EXPECT_EQ(report["loaded"], true);
        EXPECT_TRUE(report["error"].isNull());
        EXPECT_EQ(report["end"], "complete");
        EXPECT_NEAR(report["duration_ms"].asInt(), duration, 150);
        EXPECT_NEAR(report["played_ms"].asInt(), duration, 1000);
        EXPECT_EQ(report["video_tracks"], videoTracks);
        EXPECT_EQ(report["audio_tracks"], 1);
        ExpectSays(result.out, {"\"EC_COMPLETE\""});
        for (const Json::Value& filter : report["filters"]) {
            EXPECT_FALSE(filter["name"].asString().empty());
            EXPECT_EQ(filter["clsid"].asString().size(), 38U);
        }
        return report;
    };
    const Json::Value sound = play(Media(L"clip.mp3"), 3000, 0);
    EXPECT_TRUE(sound["snapshot"].isNull());
    EXPECT_FALSE(std::filesystem::exists(png));
    // Data flows from the file reader, which Windows and Wine have under this class.
    const Json::Value reader = sound["filters"][0];
    EXPECT_EQ(reader["clsid"], "{E436EBB5-524F-11CE-9F53-0020AF0BA770}");
    EXPECT_FALSE(reader["file"].asString().empty());
    EXPECT_TRUE(reader["module"].isNull());

    const Json::Value picture = play(L"test://320x180@25/2s?audio=440", 2000, 1);
    EXPECT_EQ(picture["snapshot"], Utf8(png));
    ExpectClip(ReadPng(png), 320, 180);
    EXPECT_EQ(picture["filters"][0]["name"], "Pattern Source");
    ExpectSays(picture["filters"][0]["module"].asString(), {"ymdpattern.ax"});
    EXPECT_TRUE(picture["filters"][1]["module"].isNull()) << picture["filters"];
}

TEST(YmdsPlay, StopsAfterTheSecondsAndTalksToPeople) {
    const Scratch scratch;
    const std::wstring png = scratch.Path(L"p.png");
    const std::wstring file = scratch.Path(L"한국.mp4");
    std::filesystem::copy_file(Media(L"video-only.mp4"), file);
    const Result result = RunYmds({L"play", file, L"--seconds", L"1", L"--snapshot", png});
    EXPECT_EQ(result.code, 0) << result.err;
    ExpectSays(result.out, {"한국.mp4", "Duration    0:03.0", "1 video, 0 audio", "320x240",
                            "Media Source", "ymdmedia.ax", "(seconds)", "p.png"});
    // No live bar where nobody watches.
    EXPECT_EQ((result.out + result.err).find("playing"), std::string::npos) << result.err;
    EXPECT_EQ(ReadPng(png).width, 320U);

    const Result looped =
        RunYmds({L"play", Media(L"clip.wav"), L"--loop", L"--seconds", L"4.5", L"--json"});
    EXPECT_EQ(looped.Json()["end"], "seconds");
    ExpectSays(looped.out, {"\"EC_COMPLETE\""});
}

} // namespace

} // namespace ymds_tests
