// The run-time binding of MediaInfo.dll, on a stand-in for it, and the numbers in answers.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <fstream>
#include <regex>
#include <set>

#include "MediaInfoBinding/MediaInfoFile.h"
#include "MediaInfoBinding/Values.h"
#include "fakes/MediaInfoFake.h"

using namespace ymdshow::mediainfo;
using namespace std::string_literals;

namespace {

/// Has `bytes` found as the library, in a directory of their own.
void ExpectNoLibrary(const std::string& why, const std::string& bytes) {
    const auto path = fakes::MediaInfoFakeFile().parent_path() / "damaged" / why;
    std::filesystem::create_directories(path);
    std::ofstream(path / "MediaInfo.dll", std::ios::binary) << bytes;
    fakes::LoadLibrariesFrom(path);
    EXPECT_EQ(Load(), nullptr) << why;
    EXPECT_EQ(GetModuleHandleW(L"MediaInfo.dll"), nullptr) << "stays loaded without " << why;
}

// One test, because the first success is for the life of the process.
TEST(MediaInfoBinding, IsAllOrNothingRetriedAndOnceForAll) {
    std::ifstream in(fakes::MediaInfoFakeFile(), std::ios::binary);
    const std::string library(std::istreambuf_iterator<char>(in), {});
    std::set<std::string> names;
    const std::regex exported("MediaInfo(List)?A_\\w+");
    for (std::sregex_iterator name(library.begin(), library.end(), exported), end; name != end;
         ++name) {
        if (names.insert(name->str()).second) {
            std::string without = library;
            // So that the order of the export table holds.
            --without[static_cast<std::size_t>(name->position() + name->length()) - 1];
            ExpectNoLibrary(name->str(), without);
        }
    }
    EXPECT_EQ(names.size(), 28U);
    ExpectNoLibrary("its second half", library.substr(0, library.size() / 2));
    fakes::LoadLibrariesFrom("none");
    MediaInfoFile none;
    EXPECT_FALSE(none.Open(L"any.mp4"));
    EXPECT_EQ(none.Count(StreamKind::Video), 0U);
    for (const std::string& text : {none.Get(StreamKind::General, 0, ""), none.Option("", ""s),
                                    none.Option("", L""s), none.Inform()}) {
        EXPECT_EQ(text, "Unable to load MediaInfo.dll");
    }

    fakes::LoadLibrariesFrom(fakes::MediaInfoFakeFile().parent_path());
    const EntryPoints* const loaded = Load();
    ASSERT_NE(loaded, nullptr);
    fakes::LoadLibrariesFrom("none"); // loaded once, it needs its file no more
    EXPECT_EQ(Load(), loaded);
    EXPECT_TRUE(MediaInfoFile().IsCreated());
    EXPECT_EQ(LoadCount(), 3U);
    EXPECT_EQ(fakes::MediaInfoFake().handles, 0);
}

TEST(MediaInfoValues, EndAtTheFirstOtherCharacterAndAtTheirLimits) {
    const std::pair<const char*, std::int32_t> numbers[] = {
        {" \t\r+7", 7},          {"44100 / 22050", 44100}, {"abc", 0}, {"+-5", 0}, {"-3", -3},
        {"2147483648", INT_MAX}, {"-99999999999", INT_MIN}};
    for (const auto& [text, number] : numbers) {
        EXPECT_EQ(Integer(text), number) << text;
        EXPECT_EQ(Count(text), std::max(number, 0)) << text;
    }
    EXPECT_EQ(Duration("4000000000"), 21474836470000);
    EXPECT_EQ(Duration("-1"), 0);
    std::setlocale(LC_ALL, "German_Germany.1252");
    EXPECT_FLOAT_EQ(Decimal("-1.778"), -1.778F);
    EXPECT_EQ(FrameTime("23.976"), 417083);
    EXPECT_FLOAT_EQ(ColonRatio("2.35:1.5"), 2.35F / 1.5F);
    std::setlocale(LC_ALL, "C");
    for (const char* text : {"", "nan", "-inf", "1e300"}) {
        EXPECT_EQ(Decimal(text), 0.0F) << text;
    }
    for (const char* text : {"0.000", "-25", "1e-300"}) {
        EXPECT_EQ(FrameTime(text), 0) << text;
    }
    for (const char* text : {"16", "16:0", "16:-9", "1e38:1e-38"}) {
        EXPECT_EQ(ColonRatio(text), 0.0F) << text;
    }
    EXPECT_EQ(SamplingRate("44.1"), 44100U);
    EXPECT_EQ(SamplingRate("5644800"), 4294967295U);
    EXPECT_EQ(SamplingRate("-1") + SamplingRate("inf"), 0U);
}

} // namespace
