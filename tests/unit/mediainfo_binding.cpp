// The run-time binding of MediaInfo.dll, on a stand-in for it, and the numbers in answers.

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../fakes/MediaInfoFake.h"
#include "MediaInfoBinding/MediaInfoFile.h"
#include "MediaInfoBinding/MediaInfoLibrary.h"
#include "MediaInfoBinding/Values.h"

namespace fs = std::filesystem;
using namespace ymdshow::mediainfo;

namespace {

/// Behind "MediaInfo".
const char RequiredNames[] =
    "A_New A_Delete A_Open A_Open_Buffer_Init A_Open_Buffer_Continue "
    "A_Open_Buffer_Continue_GoTo_Get A_Open_Buffer_Finalize A_Open_NextPacket A_Close A_Inform "
    "A_GetI A_Get A_Output_Buffer_Get A_Output_Buffer_GetI A_Option A_State_Get A_Count_Get "
    "ListA_New ListA_Delete ListA_Open ListA_Close ListA_Inform ListA_GetI ListA_Get "
    "ListA_Option ListA_State_Get ListA_Count_Get ListA_Count_Get_Files";

std::string Bytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Puts `bytes` as MediaInfo.dll into a directory of its own and has it found there.
void PlaceLibrary(const std::string& directory, const std::string& bytes) {
    const fs::path path = fakes::ProgramDirectory() / "mediainfo_damaged" / directory;
    fs::create_directories(path);
    std::ofstream(path / "MediaInfo.dll", std::ios::binary) << bytes;
    fakes::LoadLibrariesFrom(path);
}

void ExpectNoLibrary(const char* why) {
    SCOPED_TRACE(why);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(LoadCount(), 0U);
    EXPECT_EQ(GetModuleHandleW(L"MediaInfo.dll"), nullptr) << "stays loaded after a failure";

    const std::string message = "Unable to load MediaInfo.dll";
    MediaInfoFile file;
    EXPECT_FALSE(file.IsCreated());
    EXPECT_FALSE(file.Open("any.mp4"));
    EXPECT_EQ(file.Count(StreamKind::Video), 0U);
    EXPECT_EQ(file.Get(StreamKind::General, 0, "Format"), message);
    EXPECT_EQ(file.Option("ParseSpeed", std::string("0")), message);
    EXPECT_EQ(file.Inform(), message);
}

/// The exported name is changed so that the order of the export table holds.
std::string WithoutExport(std::string library, const std::string& name) {
    const std::size_t at = library.find('\0' + name + '\0');
    EXPECT_NE(at, std::string::npos) << name;
    --library[at + name.size()];
    return library;
}

// One test, because the first success is for the life of the process.
TEST(MediaInfoBinding, IsAllOrNothingRetriedAndOnceForAllThreads) {
    const std::string library = Bytes(fakes::MediaInfoFakeFile());
    ASSERT_FALSE(library.empty());
    const fs::path empty = fakes::ProgramDirectory() / "mediainfo_damaged" / "none";
    fs::create_directories(empty);
    fakes::LoadLibrariesFrom(empty);
    ExpectNoLibrary("absent");
    PlaceLibrary("junk", "not a library");
    ExpectNoLibrary("no library file");
    PlaceLibrary("cut", library.substr(0, library.size() / 2));
    ExpectNoLibrary("cut short");
    std::istringstream names(RequiredNames);
    for (std::string name; names >> name;) {
        PlaceLibrary(name, WithoutExport(library, "MediaInfo" + name));
        ExpectNoLibrary(name.c_str());
    }

    fakes::LoadLibrariesFrom(fakes::MediaInfoFakeFile().parent_path());
    constexpr int count = 8;
    std::vector<const EntryPoints*> loaded(count);
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            loaded[static_cast<std::size_t>(i)] = Load();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_NE(loaded[0], nullptr);
    EXPECT_EQ(std::set(loaded.begin(), loaded.end()).size(), 1U);
    EXPECT_EQ(LoadCount(), 8U);

    // Loaded once, it needs its file no more.
    fakes::LoadLibrariesFrom(empty);
    EXPECT_TRUE(MediaInfoFile().IsCreated());
    EXPECT_EQ(LoadCount(), 9U);
    ASSERT_NE(fakes::MediaInfoFake(), nullptr);
    EXPECT_EQ(fakes::MediaInfoFake()->liveHandles(), 0);
}

TEST(MediaInfoValues, WholeNumbersEndAtTheFirstOtherCharacterAndAt32Bits) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    const std::pair<const char*, std::int32_t> cases[] = {{"", 0},
                                                          {"12345", 12345},
                                                          {" \t+7", 7},
                                                          {"44100 / 22050", 44100},
                                                          {"10.9", 10},
                                                          {"abc", 0},
                                                          {"+-5", 0},
                                                          {"-3", -3},
                                                          {"2147483648", most},
                                                          {"99999999999999999999", most},
                                                          {"-99999999999", -most - 1}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(Integer(text), number) << text;
        EXPECT_EQ(Count(text), std::max(number, 0)) << text;
    }
    EXPECT_EQ(Duration("360000000"), 3600000000000); // 100 hours
    EXPECT_EQ(Duration("4000000000"), 21474836470000);
    EXPECT_EQ(Duration("-1"), 0);
}

TEST(MediaInfoValues, FractionsAreReadTheSameInEveryLocale) {
    for (const char* locale : {"C", "German_Germany.1252", "chs"}) {
        SCOPED_TRACE(locale);
        std::setlocale(LC_ALL, locale);
        EXPECT_FLOAT_EQ(Decimal("1.778"), 1.778F);
        EXPECT_FLOAT_EQ(Decimal("-90.000"), -90.0F);
        EXPECT_EQ(FrameTime("23.976"), 417083);
        EXPECT_FLOAT_EQ(ColonRatio("2.35:1"), 2.35F);
        std::setlocale(LC_ALL, "C");
    }
    for (const char* text : {"", "nan", "inf", "-inf", "1e300", "x"}) {
        EXPECT_EQ(Decimal(text), 0.0F) << text;
    }
    for (const char* text : {"0", "0.000", "-25", "nan", "1e-300", "x"}) {
        EXPECT_EQ(FrameTime(text), 0) << text;
    }
    for (const char* text : {"16", "16:0", "16:-9", ":", "16:x", "1e38:1e-38"}) {
        EXPECT_EQ(ColonRatio(text), 0.0F) << text;
    }
    EXPECT_EQ(SamplingRate("44100"), 44100000U);
    EXPECT_EQ(SamplingRate("44.1"), 44100U);
    EXPECT_EQ(SamplingRate("5644800"), 4294967295U);
    EXPECT_EQ(SamplingRate("-1"), 0U);
}

} // namespace
