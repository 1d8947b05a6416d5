#pragma once

#include <cstdint>

namespace ymdshow {

struct PictureSize {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// The two corrections of a picture size. Decoders report the coded height of 1080-line
/// video, a multiple of 16, and many renderers refuse odd sizes.
constexpr PictureSize CorrectedPictureSize(PictureSize size, bool fix1088Height,
                                           bool evenVideoSize) {
    if (fix1088Height && size.width == 1920 && size.height == 1088) {
        size.height = 1080;
    }
    if (evenVideoSize) {
        size.width -= size.width % 2 != 0 ? 1 : 0;
        size.height -= size.height % 2 != 0 ? 1 : 0;
    }
    return size;
}

/// Kept: times are compared by the low 32 bits of their difference, as a signed value.
constexpr std::int32_t LowDistance(std::int64_t a, std::int64_t b) {
    const std::uint32_t difference = static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b);
    return static_cast<std::int32_t>((difference & 0x80000000U) != 0 ? 0U - difference
                                                                     : difference);
}

} // namespace ymdshow
