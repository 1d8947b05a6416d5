#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace ymds {

/// "0x80070002".
std::wstring Hex(HRESULT result);

/// "0x80070002, File not found."
std::wstring HexAndWords(HRESULT result);

/// `what` and, behind it in brackets, a failed result; "unknown reason" for nothing at all.
std::wstring Reason(std::wstring what, HRESULT result);

/// A time of 100 ns units as "m:ss.s".
std::wstring Clock(std::int64_t time);

/// Whole milliseconds of a time of 100 ns units.
inline std::int64_t Milliseconds(std::int64_t time) {
    return time / 10000;
}

} // namespace ymds
