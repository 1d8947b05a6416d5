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
using BOOL = int;

constexpr HRESULT S_OK = 0;

constexpr DWORD MB_ERR_INVALID_CHARS = 8;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
constexpr BOOL FALSE = 0;

// In place of code page 936 one that has the same pairs, for other characters.
constexpr unsigned kFirstOfPairs = 0x4E00;

inline int MultiByteToWideChar(unsigned, DWORD, const char* in, int size, wchar_t* out, int) {
    int count = 0;
    for (int at = 0; at < size; ++at) {
        unsigned unit = static_cast<unsigned char>(in[at]);
        if (unit > 0x80) {
            const unsigned trail = ++at < size ? static_cast<unsigned char>(in[at]) : 0;
            if (unit == 0xFF || trail < 0x40 || trail == 0x7F || trail == 0xFF) {
                return 0;
            }
            unit = kFirstOfPairs + (unit - 0x81) * 0xC0 + trail - 0x40;
        }
        out[count++] = static_cast<wchar_t>(unit);
    }
    return count;
}

inline int WideCharToMultiByte(unsigned, DWORD, const wchar_t* in, int size, char* out, int,
                               const char* lost, BOOL* isLost) {
    char* const begin = out;
    for (; size > 0; --size, ++in) {
        const unsigned pair = static_cast<unsigned>(*in) - kFirstOfPairs;
        if (*in <= 0x80) {
            *out++ = static_cast<char>(*in);
        } else if (pair < 126 * 0xC0 && pair % 0xC0 != 0x3F && pair % 0xC0 != 0xBF) {
            *out++ = static_cast<char>(0x81 + pair / 0xC0);
            *out++ = static_cast<char>(0x40 + pair % 0xC0);
        } else {
            *out++ = *lost;
            *isLost = true;
        }
    }
    return static_cast<int>(out - begin);
}
