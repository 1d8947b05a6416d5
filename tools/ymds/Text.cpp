#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

#include <ymdshow/LoadReport.h>

namespace ymds {

std::wstring Hex(HRESULT result) {
    std::array<wchar_t, 16> buffer{};
    std::swprintf(buffer.data(), buffer.size(), L"0x%08lX", static_cast<unsigned long>(result));
    return buffer.data();
}

std::wstring HexAndWords(HRESULT result) {
    return Hex(result) + L", " + ymdshow::ResultText(result);
}

std::wstring Reason(std::wstring what, HRESULT result) {
    while (!what.empty() && std::wcschr(L" :", what.back()) != nullptr) {
        what.pop_back();
    }
    if (FAILED(result)) {
        const bool isSaid = what.ends_with(ymdshow::ResultText(result));
        what += what.empty() ? L"(" : L" (";
        what += (isSaid ? Hex(result) : HexAndWords(result)) + L")";
    }
    return what.empty() ? L"unknown reason" : what;
}

std::wstring Clock(std::int64_t time) {
    const std::int64_t tenths = std::max<std::int64_t>(time, 0) / 1000000;
    std::array<wchar_t, 40> buffer{};
    std::swprintf(buffer.data(), buffer.size(), L"%lld:%02d.%d",
                  static_cast<long long>(tenths / 600), static_cast<int>(tenths / 10 % 60),
                  static_cast<int>(tenths % 10));
    return buffer.data();
}

} // namespace ymds
