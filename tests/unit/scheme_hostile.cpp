#include "unit/scheme_support.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

#include <psapi.h>

namespace {

using namespace scheme_tests;
using ymdshow::CCoderScheme;
using ymdshow::SchemeLoadReport;

std::string Repeat(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(HostileScript, NestedBeyondMeasureIsRefused) {
    const std::size_t megabyte = 1 << 20;
    const std::pair<std::string, std::size_t> cases[] = {
        {"/*[*/" + std::string(megabyte, '['), 1006},
        {Repeat("{\"[\":", megabyte), 1000 * 5 + 1},
        {Repeat("[{\"a\":", megabyte), 500 * 6 + 1},
        {"{\"Schemes\":" + std::string(megabyte, '[') + std::string(megabyte, ']') + "}", 1011}};
    for (const auto& [script, column] : cases) {
        CCoderScheme set;
        EXPECT_FALSE(set.LoadSchemeByScript(script, 0));
        EXPECT_EQ(set.GetLoadReport().failure, SchemeLoadReport::Failure::Syntax);
        EXPECT_EQ(set.GetLoadReport().line, 1u);
        EXPECT_EQ(set.GetLoadReport().column, column);
    }
    CCoderScheme set; // as deep as the reader goes
    EXPECT_TRUE(set.LoadSchemeByScript(
        "{\"Schemes\":" + std::string(999, '[') + std::string(999, ']') + "}", 0));
}

const std::string goodScript =
    "// \xD5\x5C\n" + Script("mp4;\xD2\xF4",
                             Filter("\xD5\x5C\\u4e2d", ",\"IsOnlyOne\":1") + ",{\"Name\":\"a\"}",
                             Filter("a", ",\"Type\":\"\xE4\xB8\xAD\""));

TEST(HostileScript, CutShortAnywhereIsRefused) {
    ASSERT_TRUE(CCoderScheme().LoadSchemeByScript(goodScript, 0));
    for (std::size_t size = 0; size < goodScript.size(); ++size) {
        CCoderScheme set;
        EXPECT_FALSE(set.LoadSchemeByScript(goodScript.substr(0, size), 0)) << size;
        EXPECT_EQ(Describe(set), "") << size;
    }
}

TEST(HostileScript, DamagedBytesLoadOrFail) {
    std::mt19937 random(1);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    int loaded = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string script = goodScript;
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
            script[below(script.size())] = static_cast<char>(below(256));
        }
        CCoderScheme set;
        if (set.LoadSchemeByScript(script, 0)) {
            ++loaded;
        } else {
            EXPECT_GT(set.GetLoadReport().failureReason.size(), 0u);
            EXPECT_EQ(Describe(set), "");
        }
    }
    EXPECT_GT(loaded, 100);
}

std::size_t PeakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

TEST(HostileScript, ListsThatMultiplyAreBounded) {
    std::string types;
    std::string filters;
    for (int i = 0; i < 20000; ++i) {
        types += std::string("t").append(std::to_string(i)).append(";");
        filters += "{\"Name\":\"a\"},";
    }
    filters.pop_back();
    // asks for 400 million list entries
    CCoderScheme set = Loaded(Script(types, filters, Filter("a")));
    EXPECT_LT(set.GetSchemeTypes().size(), 300u);
    EXPECT_TRUE(set.FindScheme("t0", nullptr));
    ASSERT_EQ(set.GetLoadReport().entries.size(), 1u);
    EXPECT_EQ(set.GetLoadReport().entries[0].kind, SchemeLoadReport::Kind::TooLarge);
}

TEST(HostileScript, AHundredMegabytesLoad) {
    const std::size_t characters = 10'000'000;
    std::string script = "/*" + std::string(80'000'000, '*') + "*/";
    script += Script("x", Filter(Repeat("\xD5\x5C", characters)));
    const std::size_t before = PeakMemory();
    CCoderScheme set = Loaded(script);
    ASSERT_NE(FilterOf(set, "x"), nullptr);
    EXPECT_EQ(FilterOf(set, "x")->strName.size(), characters);
    EXPECT_LT(PeakMemory() - before, 4 * script.size());
}

} // namespace
