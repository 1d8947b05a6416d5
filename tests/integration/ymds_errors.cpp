// What the host program says when it cannot do what was asked, and its other commands.

#include <gtest/gtest.h>

#include <utility>

#include "integration/ymds_program.h"

namespace ymds_tests {

namespace {

void ExpectSays(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << '"' << part << "\" in\n" << text;
}

TEST(YmdsUsage, IsTwoWhenWrong) {
    const std::pair<std::vector<std::wstring>, const char*> cases[] = {
        {{}, "subcommand"},
        {{L"play"}, "FILE"},
        {{L"dance", L"x"}, "subcommand"},
        {{L"play", L"x.mp4", L"--bogus"}, "--bogus"},
        {{L"play", L"x.mp4", L"--seconds", L"soon"}, "--seconds"},
        {{L"play", L"x.mp4", L"--seconds", L"-1"}, "--seconds"},
        {{L"scheme"}, "subcommand"},
        {{L"info"}, "FILE"}};
    for (const auto& [arguments, says] : cases) {
        const Result result = RunYmds(arguments);
        EXPECT_EQ(result.code, 2) << says;
        EXPECT_EQ(result.out, "");
        ExpectSays(result.err, says);
    }
    const Result help = RunYmds({L"play", L"--help"});
    EXPECT_EQ(help.code, 0);
    ExpectSays(help.out, "--snapshot");
}

TEST(YmdsErrors, NameTheFileAndTheReason) {
    const std::pair<std::wstring, const char*> cases[] = {
        {Media(L"missing.mp4"), "not found"},
        {Media(L"no/such/directory.mp4"), "not found"},
        {Media(L"empty.mp4"), "is empty"},
        {Media(L"mediainfo"), "is a directory"},
        {Media(L"text.mp4"), "nothing can read it"}};
    for (const auto& [file, reason] : cases) {
        SCOPED_TRACE(Utf8(file));
        const Result plain = RunYmds({L"play", file});
        EXPECT_EQ(plain.code, 1);
        EXPECT_EQ(plain.out, "");
        ExpectSays(plain.err, Utf8(file) + ": " + reason);

        const Result json = RunYmds({L"play", file, L"--json"});
        EXPECT_EQ(json.code, 1);
        const Json::Value report = json.Json();
        ASSERT_TRUE(report.isObject()) << json.out;
        for (const char* key :
             {"path", "loaded", "error", "duration_ms", "video_tracks", "audio_tracks", "width",
              "height", "filters", "events", "played_ms", "snapshot"}) {
            EXPECT_TRUE(report.isMember(key)) << key;
        }
        EXPECT_EQ(report["loaded"], false);
        ExpectSays(report["error"].asString(), reason);
        if (file.ends_with(L"text.mp4")) { // what was tried
            ExpectSays(plain.err, "way 4, AddSourceFilter: 0x00000000");
            ExpectSays(plain.err, "way 4, RenderFilter: 0x8004");
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
    for (const char* part : {"avi\n  1 First  (render)", "mkv\n  1 First", "2 Second", "x.ax",
                             "s.json:4:", "Schemes[0].Filters[1]", "Nowhere"}) {
        ExpectSays(result.out, part);
    }
}

TEST(YmdsScheme, AScriptThatDoesNotLoadIsAnError) {
    const Scratch scratch;
    const std::pair<std::wstring, const char*> cases[] = {
        {scratch.Write(L"syntax.json", "{\"Schemes\":\n [ {] }"), "syntax.json:2:"},
        {scratch.Write(L"none.json", "{}"), "Schemes"},
        {scratch.Write(L"empty.json", ""), "empty"},
        {scratch.Path(L"missing.json"), "missing.json"}};
    for (const auto& [script, says] : cases) {
        const Result check = RunYmds({L"scheme", L"check", script});
        EXPECT_EQ(check.out, "");
        const Result play = RunYmds({L"play", Media(L"clip.wav"), L"--scheme", script});
        for (const Result& result : {check, play}) {
            EXPECT_EQ(result.code, 1) << says;
            ExpectSays(result.err, says);
        }
    }
}

TEST(YmdsInfo, ShowsTheFacts) {
    const Result json = RunYmds({L"info", Media(L"clip.mkv"), L"--json"});
    ASSERT_EQ(json.code, 0) << json.err;
    const Json::Value facts = json.Json();
    EXPECT_EQ(facts["video_tracks"], 1);
    EXPECT_EQ(facts["audio_tracks"], 2);
    EXPECT_EQ(facts["width"], 320);
    EXPECT_EQ(facts["height"], 240);
    EXPECT_NEAR(facts["duration_ms"].asInt(), 3000, 150);
    EXPECT_NEAR(facts["frame_rate"].asDouble(), 25.0, 0.01);
    ASSERT_EQ(facts["media_info"].size(), 4U) << "general, video and two of audio";
    EXPECT_EQ(facts["media_info"][0]["facts"]["Format"], "Matroska");

    const Result table = RunYmds({L"info", Media(L"clip.mkv")});
    EXPECT_EQ(table.code, 0);
    for (const char* part : {"320x240", "Matroska", "Audio #2"}) {
        ExpectSays(table.out, part);
    }
    const Result refused = RunYmds({L"info", Media(L"text.mp4")});
    EXPECT_EQ(refused.code, 1);
    ExpectSays(refused.err, "nothing can read it");
}

} // namespace

} // namespace ymds_tests
