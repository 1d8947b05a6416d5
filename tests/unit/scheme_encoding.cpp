#include "unit/scheme_support.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

namespace {

using namespace scheme_tests;
using namespace std::string_literals;
using ymdshow::CCoderScheme;
using ymdshow::SchemeLoadReport;

/// The name that a script in code page 936 gives to a filter by `literal`.
std::wstring NameOf(const std::string& literal) {
    CCoderScheme set;
    // Behind the name stands a member, lost when the literal did not end where it should,
    // and around it text that takes the script out of plain ASCII.
    const std::string script =
        "// \xD5\x5C\n" + Script("x", Filter(literal, ",\"Path\":\"\xD6\xD0\x81\x5C\""));
    if (!set.LoadSchemeByScript(script, 0)) {
        return L"(refused)";
    }
    const ymdshow::FilterInfo* info = FilterOf(set, "x");
    if (info == nullptr || info->strPath != L"中乗") {
        return L"(broken)";
    }
    return info->strName;
}

TEST(SchemeEncoding, NamesInCodePage936ComeOutRight) {
    const struct {
        std::string literal;
        std::wstring name;
    } cases[] = {
        {"plain", L"plain"},
        {"\xBD\xE2\xC2\xEB\xC6\xF7", L"解码器"},
        {"\xD5\x5C", L"誠"}, // second bytes: a backslash, also before the closing quote,
        {"\xD5\x5C\xD5\x5C"
         "n",
         L"誠誠n"},
        {"\xD5\x7B\xD5\x7D\xD5\x5B\xD5\x5D", L"調諁誟誡"}, // braces and brackets
        {"\xD5\x5C\\\\\\\"\xD5\x5C", L"誠\\\"誠"},
        {"\xD5\x5C\\u4e2d\\n", L"誠中\n"}, // escapes amidst such bytes
        {"\\uD6D0\xD6\xD0\\u0041", L"\xD6D0中A"},
        {"\xD6\xD0\\u0041", L"中A"},
        {"\\u4e2d\\u9646", L"中陆"},
        {"\x80\xFE", L""}, // a lead byte at the end: no text in any encoding
        {"\x81 x", L""},
        {"\x81 \\u4e2d", L""},
        {"\xE8\xA7\xA3\xC3\xA4", L"解\u00E4"}, // a UTF-8 literal in such a script
        {"\xE8\xA7\xA3\\u4e2d", L"解中"},
        {"\xC2\xBD", L"\u00BD"},       // also a character of 936, but surely UTF-8
        {"\xE8\xA7\xA3\xD6\xD0", L""}, // neither the one nor the other
        {"\xF0\x9F\x98\x80", L""},     // UTF-8 beyond three bytes decodes to nothing
        {"\\ud83d\\ude00", L""},       // and so does the escape, which is the same
        {"\\udc00", L"\xDC00"},
        {"a\\u0000b", L"a\0b"s},
        {"\\ud800", L"(refused)"},
        {"\xD5\x5C\\ud800\\n", L"(refused)"},
        {"\xD5\x5C\\q", L"(refused)"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(NameOf(test.literal), test.name) << testing::PrintToString(test.literal);
    }
}

TEST(SchemeEncoding, TypesAreCodePage936) {
    const std::pair<const char*, const char*> cases[] = {
        {"\xD2\xF4\xC0\xD6;MP4", "mp4= \xD2\xF4\xC0\xD6="},
        {"\\u97f3\\u4e50;mp4", "mp4= \xD2\xF4\xC0\xD6="}, // escapes name characters
        {"\\u9646", "\xC2\xBD="},
        {"\xC2\xBD", "\xC2\xBD="},                    // bytes stay as they stand,
        {"\xE9\x9F\xB3", "\xE9\x9F\xB3="},            // also those of UTF-8
        {"\xD5\x5C;\xD5\x7B", "\xD5\x5C= \xD5\x7B="}, //
        {"\xD5\x41", "\xD5\x61="},                    // lower-cased byte by byte, kept
    };
    for (const auto& [literal, types] : cases) {
        CCoderScheme set = Loaded(Script(literal, ""));
        EXPECT_EQ(Describe(set), types) << testing::PrintToString(literal);
    }
}

std::string Utf16(const std::wstring& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const wchar_t c : text) {
        const char low = static_cast<char>(c & 0xFF);
        const char high = static_cast<char>(c >> 8);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

TEST(SchemeFile, ComesInFourEncodings) {
    const auto script = [](const std::string& types, const std::string& name,
                           const std::string& other) {
        return Script(types, Filter(name) + "," + Filter(other));
    };
    const std::string narrow = script("\xD2\xF4\xC0\xD6;\xC2\xBD", "\xD5\x5C\xC2\xBD", "\\u9646");
    const std::string utf8 =
        script("\xE9\x9F\xB3\xE4\xB9\x90;\xE9\x99\x86", "\xE8\xAA\xA0\xE9\x99\x86", "\xE9\x99\x86");
    const std::wstring wide = std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
    const std::pair<const char*, std::string> cases[] = {
        {"code page 936", narrow},
        {"UTF-8", utf8},
        {"UTF-8 with a mark", "\xEF\xBB\xBF" + utf8},
        {"UTF-16 little-endian", Utf16(wide, false)},
        {"UTF-16 big-endian", Utf16(wide, true)},
        {"UTF-16 with a zero at the end", Utf16(wide + L'\0' + L"rest", false)},
        {"UTF-16 with an odd byte", Utf16(wide, false) + "x"}};
    for (const auto& [what, bytes] : cases) {
        SCOPED_TRACE(what);
        const TempFile file(L"方案.json", bytes);
        CCoderScheme set;
        ASSERT_TRUE(set.LoadScheme(file.Path(), 0));
        EXPECT_EQ(Describe(set), "\xC2\xBD=??,? \xD2\xF4\xC0\xD6=??,?");
        ASSERT_NE(FilterOf(set, "\xC2\xBD", 1), nullptr);
        EXPECT_EQ(FilterOf(set, "\xC2\xBD", 0)->strName, L"誠陆");
        EXPECT_EQ(FilterOf(set, "\xC2\xBD", 1)->strName, L"陆");
        EXPECT_TRUE(CCoderScheme().LoadScheme("\xB7\xBD\xB0\xB8.json", 0));
    }
}

TEST(SchemeFile, KeepsCharactersThatTheCodePageLacks) {
    const TempFile file(L"lacks.json", Utf16(L"{\"Schemes\":[{\"Type\":\"größe;mp4\",\"Filters\":["
                                             L"{\"Name\":\"한\xD83D\xDE00\",\"CLSID\":\"{}\"}]}]}",
                                             false));
    CCoderScheme set;
    ASSERT_TRUE(set.LoadScheme(file.Path(), 0));
    ASSERT_NE(FilterOf(set, "mp4"), nullptr);
    EXPECT_EQ(FilterOf(set, "mp4")->strName, L"한\xD83D\xDE00");
    EXPECT_TRUE(set.FindScheme(L"größe", nullptr));
    ASSERT_EQ(set.GetLoadReport().entries.size(), 2u);
    EXPECT_EQ(set.GetLoadReport().entries[1].kind, SchemeLoadReport::Kind::UnreadableText);
}

TEST(SchemeFile, FailsCleanly) {
    using Failure = SchemeLoadReport::Failure;
    const std::string many = "/* \xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\n \xC3\xA4 ";
    const struct {
        std::string bytes;
        Failure failure;
        std::size_t line;
        std::size_t column;
    } cases[] = {
        {"", Failure::EmptyScript, 0, 0},
        {"\xFF\xFE", Failure::EmptyScript, 0, 0},
        {"\xFF\xFE\0\0{\0"s, Failure::EmptyScript, 0, 0},
        {"\xEF\xBB\xBF", Failure::EmptyScript, 0, 0},
        {many + "\xFF */ {\"Schemes\":[]}", Failure::Encoding, 2, 4},
        {many + "*/ }", Failure::Syntax, 2, 7},
        {many + "*/ {}", Failure::NoSchemes, 0, 0},
        {std::string("\0{\"Schemes\":[]}", 15), Failure::Syntax, 1, 1},
    };
    for (const auto& test : cases) {
        const TempFile file(L"bad.json", test.bytes);
        CCoderScheme set;
        EXPECT_FALSE(set.LoadScheme(file.Path(), 0)) << test.bytes;
        const SchemeLoadReport& report = set.GetLoadReport();
        EXPECT_EQ(std::tuple(report.failure, report.line, report.column),
                  std::tuple(test.failure, test.line, test.column))
            << test.bytes;
    }
    CCoderScheme set;
    EXPECT_FALSE(set.LoadScheme(std::wstring(), 0));
    EXPECT_EQ(set.GetLoadReport().failure, Failure::NoPath);
    EXPECT_FALSE(set.LoadScheme(std::string(), 0));
    EXPECT_FALSE(set.LoadScheme(std::wstring(L"no such file.json"), 0));
    EXPECT_EQ(set.GetLoadReport().failure, Failure::CannotOpen);
    EXPECT_FALSE(set.LoadScheme(std::wstring(L"."), 0)); // a directory
}

} // namespace
