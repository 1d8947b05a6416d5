#pragma once

#include <cstdint>

namespace ymdshow {

/// Sizes and offsets outside this range are taken for "not given".
constexpr bool IsPlausiblePixelCount(std::int32_t pixels) {
    return pixels >= 1 && pixels <= 9999;
}

/// Completes a rectangle (left, top, width, height): an implausible origin becomes 0, an
/// implausible size the whole picture.
inline void CompleteRange(std::int32_t (&range)[4], std::int32_t width, std::int32_t height) {
    const std::int32_t whole[4] = {0, 0, width, height};
    for (int i = 0; i < 4; ++i) {
        if (!IsPlausiblePixelCount(range[i])) {
            range[i] = whole[i];
        }
    }
}

/// Kept: times are compared by the low 32 bits of their difference, as a signed value.
constexpr std::int32_t LowDistance(std::int64_t a, std::int64_t b) {
    const std::uint32_t difference = static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b);
    return static_cast<std::int32_t>((difference & 0x80000000U) != 0 ? 0U - difference
                                                                     : difference);
}

} // namespace ymdshow
