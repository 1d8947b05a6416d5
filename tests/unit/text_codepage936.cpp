#include "Text/Text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace {

using namespace ymdshow;

/// The C runtime's own answers, empty where it fails.
class CRuntime {
public:
    CRuntime() : m_locale(_create_locale(LC_ALL, "chs")) {}
    ~CRuntime() { _free_locale(m_locale); }

    bool IsThere() const { return m_locale != nullptr; }

    std::wstring Widen(const std::string& text) const {
        std::wstring wide(text.size() + 1, L'\0');
        const std::size_t size = _mbstowcs_l(wide.data(), text.c_str(), wide.size(), m_locale);
        return size == failed ? L"" : wide.substr(0, size);
    }

    bool Narrow(const std::wstring& text, std::string& narrow) const {
        narrow.assign(2 * text.size() + 1, '\0');
        const std::size_t size = _wcstombs_l(narrow.data(), text.c_str(), narrow.size(), m_locale);
        narrow.resize(size == failed ? 0 : size);
        return size != failed;
    }

private:
    static constexpr std::size_t failed = static_cast<std::size_t>(-1);
    _locale_t m_locale;
};

TEST(CodePage936, EveryOneAndTwoByteTextConvertsLikeTheCRuntime) {
    const CRuntime runtime;
    ASSERT_TRUE(runtime.IsThere());
    int converted = 0;
    for (int first = 1; first <= 0xFF; ++first) {
        for (int second = 0; second <= 0xFF; ++second) {
            std::string bytes(1, static_cast<char>(first));
            if (second != 0) {
                bytes += static_cast<char>(second);
            } else if (text::IsLeadByte(static_cast<unsigned char>(first))) {
                EXPECT_EQ(text::ToWide(bytes), L"") << std::hex << first;
                continue; // not asked of the C runtime: some read past the end
            }
            const std::wstring wide = text::ToWide(bytes);
            ASSERT_EQ(wide, runtime.Widen(bytes)) << std::hex << first << " " << second;
            converted += wide.empty() ? 0 : 1;
        }
    }
    std::string all;
    for (int first = 0x81; first <= 0xFE; ++first) {
        for (int second = 0x40; second <= 0xFE; ++second) {
            const std::string pair{static_cast<char>(first), static_cast<char>(second)};
            all += text::ToWide(pair).empty() ? "-" : pair;
        }
    }
    EXPECT_EQ(text::ToWide(all), runtime.Widen(all));
    EXPECT_GT(converted, 128 * 128 + 20000); // pairs of single bytes, and the characters
}

TEST(CodePage936, EveryCodeUnitConvertsLikeTheCRuntime) {
    const CRuntime runtime;
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        const std::wstring wide(1, static_cast<wchar_t>(unit));
        std::string expected;
        std::string narrow;
        ASSERT_EQ(text::TryToNarrow(wide, narrow), runtime.Narrow(wide, expected))
            << std::hex << unit;
        ASSERT_EQ(narrow, expected.empty() ? "?" : expected) << std::hex << unit;
    }
}

TEST(CodePage936, EndsAtTheFirstZeroAndFailsAsAWhole) {
    using namespace std::string_literals;
    EXPECT_EQ(text::ToWide("ab\0cd"s), L"ab");
    EXPECT_EQ(text::ToWide("\xD6\xD0\0\xCE\xC4"s), L"中");
    EXPECT_EQ(text::ToWide("name \x81"), L"");
    EXPECT_EQ(text::ToWide("name \x81\x20 more"), L"");
    EXPECT_EQ(text::ToNarrow(L"中\0文"s), "\xD6\xD0");
    EXPECT_EQ(text::ToNarrow(L"D:\\Größe\\中.mp4"), "D:\\Gr??e\\\xD6\xD0.mp4");
    EXPECT_EQ(text::ToWide(""), L"");
}

TEST(CodePage936, LeavesTheProcessLocaleAlone) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    text::ToWide("\xD6\xD0");
    text::ToNarrow(L"中");
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

} // namespace
