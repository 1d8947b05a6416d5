#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

#include <objbase.h>

#include <ymdshow/LoadReport.h>

namespace ymds {

namespace {

std::wstring Widen(UINT codePage, std::string_view text) {
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(std::max(length, 0)), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), length);
    return wide;
}

std::string Narrow(UINT codePage, std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    const int length =
        WideCharToMultiByte(codePage, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(std::max(length, 0)), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
    return narrow;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    return Narrow(CP_UTF8, text);
}

std::wstring FromUtf8(std::string_view text) {
    return Widen(CP_UTF8, text);
}

std::wstring From936(std::string_view text) {
    return Widen(936, text);
}

std::optional<std::string> To936(std::wstring_view text) {
    std::string narrow = Narrow(936, text);
    // Best-fit replacements do not count as a place: only what comes back unchanged does.
    if (From936(narrow) != text) {
        return std::nullopt;
    }
    return narrow;
}

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

std::wstring GuidText(const GUID& guid) {
    std::array<wchar_t, 40> buffer{};
    StringFromGUID2(guid, buffer.data(), static_cast<int>(buffer.size()));
    return buffer.data();
}

} // namespace ymds
