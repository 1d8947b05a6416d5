#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ymds {

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

/// The library's narrow text, code page 936.
std::wstring From936(std::string_view text);

/// Empty when a character has no place in code page 936.
std::optional<std::string> To936(std::wstring_view text);

/// "0x80070002".
std::wstring Hex(HRESULT result);

/// "0x80070002, File not found."
std::wstring HexAndWords(HRESULT result);

/// `what` and, behind it in brackets, a failed result; "unknown reason" for nothing at all.
std::wstring Reason(std::wstring what, HRESULT result);

/// A time of 100 ns units as "m:ss.s".
std::wstring Clock(std::int64_t time);

std::wstring GuidText(const GUID& guid);

/// Whole milliseconds of a time of 100 ns units.
inline std::int64_t Milliseconds(std::int64_t time) {
    return time / 10000;
}

} // namespace ymds
