#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

#include <objbase.h>

namespace ymds {

namespace {

std::wstring Widen(UINT codePage, std::string_view text) {
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(std::max(length, 0)), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), length);
    return wide;
}

// DirectShow's own codes, which the system's message table does not know everywhere.
struct KnownResult {
    HRESULT result;
    const wchar_t* words;
};
constexpr std::array KnownResults{
    KnownResult{static_cast<HRESULT>(0x80040200), L"the media type is not valid"},
    KnownResult{static_cast<HRESULT>(0x80040207), L"no media type is acceptable to both pins"},
    KnownResult{static_cast<HRESULT>(0x80040208), L"no decoder for the stream was found"},
    KnownResult{static_cast<HRESULT>(0x80040217), L"no filters were found that connect the pins"},
    KnownResult{static_cast<HRESULT>(0x80040218), L"no filters were found that render the stream"},
    KnownResult{static_cast<HRESULT>(0x8004022A), L"the pins use different transports"},
    KnownResult{static_cast<HRESULT>(0x8004022F), L"the file is damaged or not of its kind"},
    KnownResult{static_cast<HRESULT>(0x80040240), L"the media type of the file is not recognised"},
    KnownResult{static_cast<HRESULT>(0x80040241), L"the source filter could not be loaded"},
    KnownResult{static_cast<HRESULT>(0x80040242), L"some streams have an unsupported format"},
    KnownResult{static_cast<HRESULT>(0x80040256), L"there is no sound device"},
    KnownResult{static_cast<HRESULT>(0x80040265), L"the format is not supported"},
    KnownResult{static_cast<HRESULT>(0x80040154), L"the class is not registered"},
    KnownResult{static_cast<HRESULT>(0x80004005), L"unspecified error"},
};

} // namespace

std::string ToUtf8(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(std::max(length, 0)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
    return narrow;
}

std::wstring FromUtf8(std::string_view text) {
    return Widen(CP_UTF8, text);
}

std::wstring From936(std::string_view text) {
    return Widen(936, text);
}

std::optional<std::string> To936(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    const int length = WideCharToMultiByte(936, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(std::max(length, 0)), '\0');
    WideCharToMultiByte(936, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
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

std::wstring Words(HRESULT result) {
    const auto known = std::find_if(KnownResults.begin(), KnownResults.end(),
                                    [&](const KnownResult& k) { return k.result == result; });
    if (known != KnownResults.end()) {
        return known->words;
    }
    std::array<wchar_t, 512> buffer{};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, static_cast<DWORD>(result), 0, buffer.data(),
                                  static_cast<DWORD>(buffer.size()), nullptr);
    while (length > 0 && std::wcschr(L"\r\n .", buffer[length - 1]) != nullptr) {
        --length;
    }
    return std::wstring(buffer.data(), length);
}

std::wstring HexAndWords(HRESULT result) {
    const std::wstring words = Words(result);
    return words.empty() ? Hex(result) : Hex(result) + L", " + words;
}

std::wstring Reason(std::wstring what, HRESULT result) {
    while (!what.empty() && std::wcschr(L" :", what.back()) != nullptr) {
        what.pop_back();
    }
    if (FAILED(result)) {
        what += (what.empty() ? L"(" : L" (") + HexAndWords(result) + L")";
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
