#include "Text/Text.h"

#include <algorithm>

namespace ymdshow::text {

namespace {

template <class Char>
std::basic_string_view<Char> TrimAnyOf(std::basic_string_view<Char> text,
                                       std::basic_string_view<Char> blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <class Char> void LowerInPlace(std::basic_string<Char>& text) {
    for (Char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<Char>(c + ('a' - 'A'));
        }
    }
}

} // namespace

std::string_view Trim(std::string_view text) {
    return TrimAnyOf<char>(text, " \t\r\n");
}

std::wstring_view Trim(std::wstring_view text) {
    return TrimAnyOf<wchar_t>(text, L" \t\r\n");
}

std::string LowerAscii(std::string text) {
    LowerInPlace(text);
    return text;
}

std::wstring LowerAscii(std::wstring text) {
    LowerInPlace(text);
    return text;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace ymdshow::text
