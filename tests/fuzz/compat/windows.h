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

constexpr HRESULT S_OK = 0;
