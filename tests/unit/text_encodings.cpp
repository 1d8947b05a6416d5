#include "Text/Text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace {

using namespace ymdshow;
using namespace std::string_literals;

const _locale_t chs = _create_locale(LC_ALL, "chs");

/// The C runtime's own answer, empty where it fails.
std::wstring Widen(const std::string& text) {
    wchar_t wide[3] = {};
    const std::size_t size = _mbstowcs_l(wide, text.c_str(), 3, chs);
    return size > 3 ? L"" : wide;
}

TEST(CodePage936, EveryTextOfTwoBytesConvertsLikeTheCRuntime) {
    ASSERT_NE(chs, nullptr);
    for (int first = 1; first <= 0xFF; ++first) {
        const std::string one(1, static_cast<char>(first));
        const bool isLead = text::IsLeadByte(static_cast<unsigned char>(first));
        // A lead byte alone is not asked of the C runtime: some read past the end.
        EXPECT_EQ(text::ToWide(one), isLead ? L"" : Widen(one)) << std::hex << first;
        for (int second = 1; second <= 0xFF; ++second) {
            const std::string bytes = one + static_cast<char>(second);
            ASSERT_EQ(text::ToWide(bytes), Widen(bytes)) << std::hex << first << " " << second;
        }
    }
}

TEST(CodePage936, EveryCodeUnitConvertsLikeTheCRuntime) {
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        const wchar_t wide[] = {static_cast<wchar_t>(unit), L'\0'};
        char expected[3] = {};
        const bool isKnown = _wcstombs_l(expected, wide, sizeof expected, chs) < sizeof expected;
        bool isLossy = false;
        ASSERT_EQ(text::ToNarrow(wide, &isLossy), isKnown ? expected : "?") << std::hex << unit;
        ASSERT_NE(isLossy, isKnown) << std::hex << unit;
    }
}

TEST(CodePage936, EndsAtTheFirstZeroAndFailsAsAWhole) {
    EXPECT_EQ(text::ToWide("ab\0cd"s), L"ab");
    EXPECT_EQ(text::ToWide("\xD6\xD0\0\xCE\xC4"s), L"中");
    EXPECT_EQ(text::ToNarrow(L"中\0文"s), "\xD6\xD0");
    EXPECT_EQ(text::ToNarrow(L"D:\\Größe\\中.mp4"), "D:\\Gr??e\\\xD6\xD0.mp4");
}

TEST(Utf8, IsGuessedFromUpToFiveSequences) {
    for (const char* yes :
         {"\xEF\xBB\xBF\xFF\xFF", "a\xE4\xB8\xAD z", "\xDF\xBF", "\xE4\xB8\xAD\xE6\xB8",
          "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xFF"}) {
        EXPECT_TRUE(text::LooksLikeUtf8(yes)) << yes;
    }
    for (const char* no :
         {"", "plain text", "\xE4\xB8", "\xE4\xB8\xAD\x80", "\xE4\xB8\xAD\xF0\x9F\x98\x80",
          "\xC3\x28", "\xE4\xB8\x28", "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xFF"}) {
        EXPECT_FALSE(text::LooksLikeUtf8(no)) << no;
    }
}

TEST(Utf8, DecodesByItsRuleOrNothing) {
    using text::Utf8;
    std::size_t bad = 0;
    EXPECT_EQ(text::DecodeUtf8("\xEF\xBB\xBF\xE4\xB8\xAD\xED\xA0\xBD\xC1\x81", Utf8::Short, &bad),
              L"中\xD83D\x41");
    EXPECT_EQ(bad, std::string::npos); // surrogates one by one and overlong forms do
    for (const char* bytes : {"ab\x80", "ab\xF0\x9F\x98\x80", "ab\xE4\xB8", "ab\xE4\x28\xAD"}) {
        EXPECT_EQ(text::DecodeUtf8(bytes, Utf8::Short, &bad), L"") << bytes;
        EXPECT_EQ(bad, 2U) << bytes;
    }
    std::wstring units;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        units += static_cast<wchar_t>(unit);
    }
    EXPECT_EQ(text::DecodeUtf8(text::EncodeUtf8(units, Utf8::Short), Utf8::Short), units);
    EXPECT_EQ(text::EncodeUtf8(L"\x7F\x80\x7FF\x800", Utf8::Short),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80");

    const std::wstring full = L"a\u00DF中\xD800\xDC00\xDBFF\xDFFF";
    const std::string bytes = "a\xC3\x9F\xE4\xB8\xAD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(text::EncodeUtf8(full, Utf8::Full), bytes);
    EXPECT_EQ(text::DecodeUtf8("\xEF\xBB\xBF" + bytes, Utf8::Full), full);
    EXPECT_EQ(text::EncodeUtf8(L"\xDC00z\xD800", Utf8::Full), "\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(text::DecodeUtf8("ab\xED\xA0\x80", Utf8::Full, &bad), L"");
    EXPECT_EQ(bad, 2U);
}

TEST(Text, ComesInTwoByteOrdersAndOtherBlanks) {
    EXPECT_EQ(text::DecodeUtf16("a\0\x2D\x4E"s, false), L"a中");
    EXPECT_EQ(text::DecodeUtf16("\0a\x4E\x2D\x30"s, true), L"a中"); // an odd byte is dropped
    EXPECT_EQ(text::Trim(" \t\r\n a b \n"), "a b");
    EXPECT_EQ(text::Trim("\v a \f"), "\v a \f");
    EXPECT_EQ(text::Trim(std::wstring_view(L"\r\n\u3000x\t ")), L"\u3000x");
    EXPECT_EQ(text::LowerAscii("[AZ]@\xC4"), "[az]@\xC4");
    EXPECT_EQ(text::LowerAscii(L"AZ\u00C4\uFF21"s), L"az\u00C4\uFF21");
    EXPECT_TRUE(text::IsAscii("\x7F"));
    EXPECT_FALSE(text::IsAscii("a\x80"));
}

} // namespace
