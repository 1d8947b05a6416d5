#pragma once

// The few names of the Windows headers that the script code needs, for the native
// build under the sanitizers.

#include <cstdint>

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    unsigned char Data4[8];
};

using HRESULT = std::int32_t;
using DWORD = std::uint32_t;
using HMODULE = void*;

struct CRITICAL_SECTION {};

constexpr HRESULT S_OK = 0;

constexpr bool FAILED(HRESULT result) {
    return result < 0;
}

HRESULT CLSIDFromString(const wchar_t* text, GUID* guid);
