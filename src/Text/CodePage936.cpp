#include "Text/Text.h"

#include <windows.h>

namespace ymdshow::text {

namespace {

constexpr unsigned kCodePage = 936;

} // namespace

std::wstring ToWide(std::string_view narrow) {
    narrow = narrow.substr(0, narrow.find('\0'));
    if (IsAscii(narrow)) {
        return std::wstring(narrow.begin(), narrow.end());
    }
    std::wstring wide(narrow.size(), L'\0');
    const int size = static_cast<int>(narrow.size());
    const int count = MultiByteToWideChar(kCodePage, MB_ERR_INVALID_CHARS, narrow.data(), size,
                                          wide.data(), size);
    wide.resize(static_cast<std::size_t>(count));
    return wide;
}

std::string ToNarrow(std::wstring_view wide, bool* isLossy) {
    wide = wide.substr(0, wide.find(L'\0'));
    std::string narrow(2 * wide.size(), '\0');
    BOOL isReplaced = FALSE;
    const int count = WideCharToMultiByte(kCodePage, WC_NO_BEST_FIT_CHARS, wide.data(),
                                          static_cast<int>(wide.size()), narrow.data(),
                                          static_cast<int>(narrow.size()), "?", &isReplaced);
    narrow.resize(static_cast<std::size_t>(count));
    if (isLossy != nullptr) {
        *isLossy = isReplaced != FALSE || narrow.empty() != wide.empty();
    }
    return narrow;
}

} // namespace ymdshow::text
