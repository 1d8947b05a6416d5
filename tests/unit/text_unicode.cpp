#include "Text/Text.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using namespace ymdshow;
using namespace std::string_literals;

TEST(Utf8Guess, WalksTheBytesUpToFiveSequences) {
    const std::pair<const char*, bool> cases[] = {
        {"", false},
        {"plain text", false},
        {"\xEF\xBB\xBF", true},
        {"\xEF\xBB\xBF\xFF\xFF", true},          // the mark alone decides
        {"\xC3\xA4", true},                      // one sequence is enough
        {"a\xE4\xB8\xAD z", true},               //
        {"\xE4\xB8\xAD\xE6", true},              // cut off: the answer so far is yes
        {"\xE4\xB8", false},                     // cut off: the answer so far is no
        {"\xC3", false},                         //
        {"\xE4\xB8\xAD\x80", false},             // a sequence does not begin so
        {"\xE4\xB8\xAD\xF0\x9F\x98\x80", false}, // nor so
        {"\xC3\x28", false},                     //
        {"\xE4\xB8\x28", false},                 //
        {"\xD6\xD0\xCE\xC4", false},             // code page 936
        {"\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xFF", false},
        {"\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xFF", true}, // not looked at any more
    };
    for (const auto& [bytes, isUtf8] : cases) {
        EXPECT_EQ(text::LooksLikeUtf8(bytes), isUtf8) << testing::PrintToString(bytes);
    }
}

TEST(Utf8Decoding, TakesOneToThreeBytesOrNothing) {
    constexpr auto good = std::string::npos;
    const struct {
        std::string bytes;
        std::wstring text;
        std::size_t badOffset;
    } cases[] = {
        {"", L"", good},
        {"a\0b"s, L"a\0b"s, good},
        {"\xEF\xBB\xBF\xE4\xB8\xAD", L"中", good},
        {"\xC3\xA4\xE2\x82\xAC", L"\u00E4\u20AC", good},
        {"\xED\xA0\xBD\xED\xB8\x80", L"\xD83D\xDE00", good}, // surrogates one by one
        {"\xC1\x81", L"A", good},                            // overlong
        {"a\x80", L"", 1},
        {"a\xF0\x9F\x98\x80", L"", 1},
        {"ab\xC3\x28", L"", 2},
        {"ab\xE4\xB8", L"", 2},
        {"ab\xE4\x28\xAD", L"", 2},
        {"ab\xC3", L"", 2},
    };
    for (const auto& test : cases) {
        std::size_t badOffset = 0;
        EXPECT_EQ(text::DecodeUtf8(test.bytes, &badOffset), test.text)
            << testing::PrintToString(test.bytes);
        EXPECT_EQ(badOffset, test.badOffset) << testing::PrintToString(test.bytes);
    }
}

TEST(Utf8Encoding, IsUndoneByDecodingForEveryCodeUnit) {
    std::wstring units;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        units += static_cast<wchar_t>(unit);
    }
    EXPECT_EQ(text::DecodeUtf8(text::EncodeUtf8(units)), units);
}

TEST(Utf16Decoding, TakesBothByteOrders) {
    EXPECT_EQ(text::DecodeUtf16("a\0\x2D\x4E"s, false), L"a中");
    EXPECT_EQ(text::DecodeUtf16("\0a\x4E\x2D"s, true), L"a中");
    EXPECT_EQ(text::DecodeUtf16("a\0b"s, false), L"a"); // an odd byte is dropped
}

TEST(Utf8Sequences, AreWellFormedOrNone) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"", 0},
        {"a", 0},
        {"\xC3\xA4z", 2},
        {"\xC1\x81", 0},
        {"\xE4\xB8\xAD", 3},
        {"\xE0\x80\x81", 0},
        {"\xED\xA0\x80", 0},
        {"\xF0\x9F\x98\x80", 4},
        {"\xF0\x80\x80\x81", 0},
        {"\xF4\x90\x80\x80", 0},
        {"\xF5\x80\x80\x80", 0},
        {"\xE4\xB8", 0},
    };
    for (const auto& [bytes, length] : cases) {
        EXPECT_EQ(text::Utf8SequenceLength(bytes), length) << testing::PrintToString(bytes);
    }
}

TEST(Trimming, TakesFourBlanksAndNoOthers) {
    EXPECT_EQ(text::Trim(" \t\r\n a b \n"), "a b");
    EXPECT_EQ(text::Trim(" \t\r\n"), "");
    EXPECT_EQ(text::Trim("\v a \f"), "\v a \f");
    EXPECT_EQ(text::Trim(std::wstring_view(L"\r\n\u3000x\t")), L"\u3000x");
}

TEST(LowerCase, ChangesTheLatinAlphabetAlone) {
    EXPECT_EQ(text::LowerAscii("[AZ]@\xC4"), "[az]@\xC4");
    EXPECT_EQ(text::LowerAscii(std::wstring(L"AZ\u00C4\uFF21")), L"az\u00C4\uFF21");
}

} // namespace
