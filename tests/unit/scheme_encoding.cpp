#include "unit/scheme_support.h"

#include <gtest/gtest.h>

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
    const struct {
        std::string literal;
        std::string types;
    } cases[] = {
        {"\xD2\xF4\xC0\xD6;MP4", "\xD2\xF4\xC0\xD6= mp4="},
        {"\\u97f3\\u4e50;mp4", "mp4= \xD2\xF4\xC0\xD6="}, // escapes name characters
        {"\\u9646", "\xC2\xBD="},
        {"\xC2\xBD", "\xC2\xBD="},                    // bytes stay as they stand,
        {"\xE9\x9F\xB3", "\xE9\x9F\xB3="},            // also those of UTF-8
        {"\xD5\x5C;\xD5\x7B", "\xD5\x5C= \xD5\x7B="}, //
        {"\xD5\x41", "\xD5\x61="},                    // lower-cased byte by byte, kept
    };
    for (const auto& test : cases) {
        CCoderScheme set;
        ASSERT_TRUE(set.LoadSchemeByScript(Script(test.literal, ""), 0));
        std::string types = Describe(set);
        if (types.substr(0, 3) != test.types.substr(0, 3)) { // the order of two is not the point
            const std::size_t blank = types.find(' ');
            types = blank == types.npos ? types
                                        : types.substr(blank + 1) + " " + types.substr(0, blank);
        }
        EXPECT_EQ(types, test.types) << testing::PrintToString(test.literal);
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
    const std::wstring wide =
        L"{\"Schemes\":[{\"Type\":\"音乐;陆\",\"Filters\":[{\"Name\":\"誠陆\","
        L"\"CLSID\":\"{}\"},{\"Name\":\"陆\",\"CLSID\":\"{}\"}]}]}";
    const std::string narrow =
        "{\"Schemes\":[{\"Type\":\"\xD2\xF4\xC0\xD6;\xC2\xBD\",\"Filters\":[{\"Name\":\"\xD5\x5C"
        "\xC2\xBD\",\"CLSID\":\"{}\"},{\"Name\":\"\\u9646\",\"CLSID\":\"{}\"}]}]}";
    const std::string utf8 =
        "{\"Schemes\":[{\"Type\":\"\xE9\x9F\xB3\xE4\xB9\x90;\xE9\x99\x86\",\"Filters\":[{\"Name\":\""
        "\xE8\xAA\xA0\xE9\x99\x86\",\"CLSID\":\"{}\"},{\"Name\":\"\xE9\x99\x86\",\"CLSID\":\"{}\"}]}]}";
    const struct {
        const char* what;
        std::string bytes;
    } cases[] = {
        {"code page 936", narrow},
        {"UTF-8", utf8},
        {"UTF-8 with a mark", "\xEF\xBB\xBF" + utf8},
        {"UTF-16 little-endian", Utf16(wide, false)},
        {"UTF-16 big-endian", Utf16(wide, true)},
        {"UTF-16 with a zero at the end", Utf16(wide + L'\0' + L"rest", false)},
        {"UTF-16 with an odd byte", Utf16(wide, false) + "x"},
    };
    for (const auto& test : cases) {
        const TempFile file(L"方案.json", test.bytes);
        CCoderScheme set;
        ASSERT_TRUE(set.LoadScheme(file.Path(), 0)) << test.what;
        EXPECT_TRUE(set.FindScheme(L"音乐", nullptr)) << test.what;
        EXPECT_TRUE(set.FindScheme("\xC2\xBD", nullptr)) << test.what;
        ASSERT_NE(FilterOf(set, "\xC2\xBD", 1), nullptr) << test.what;
        EXPECT_EQ(FilterOf(set, "\xC2\xBD", 0)->strName, L"誠陆") << test.what;
        EXPECT_EQ(FilterOf(set, "\xC2\xBD", 1)->strName, L"陆") << test.what;
        CCoderScheme narrowPath;
        EXPECT_TRUE(narrowPath.LoadScheme("\xB7\xBD\xB0\xB8.json", 0)) << test.what;
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
        {many + "\xF0\x9F\x98\x80 */ {\"Schemes\":[]}", Failure::Encoding, 2, 4},
        {many + "\xFF */ {\"Schemes\":[]}", Failure::Encoding, 2, 4},
        {many + "*/ }", Failure::Syntax, 2, 7},
        {many + "*/ {}", Failure::NoSchemes, 0, 0},
        {"{\"Schemes\":[]", Failure::Syntax, 1, 14},
        {std::string("\0{\"Schemes\":[]}", 15), Failure::Syntax, 1, 1},
    };
    for (const auto& test : cases) {
        const TempFile file(L"bad.json", test.bytes);
        CCoderScheme set;
        EXPECT_FALSE(set.LoadScheme(file.Path(), 0)) << test.bytes;
        EXPECT_EQ(set.GetLoadReport().failure, test.failure) << test.bytes;
        EXPECT_EQ(set.GetLoadReport().line, test.line) << test.bytes;
        EXPECT_EQ(set.GetLoadReport().column, test.column) << test.bytes;
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
