#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ymds {

/// A picture of 8-bit blue, green and red, rows from the top, without padding.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Turns a packed DIB into a picture: RGB of 16, 24 or 32 bits, YUY2, UYVY, and planar or
/// semi-planar YUV of 12 bits. `topDown` says that RGB rows come from the top although the
/// header has them from the bottom. False for a format or a size that does not fit.
bool DecodeDib(const std::uint8_t* data, std::size_t size, bool topDown, Picture& picture);

/// True when every pixel has the same colour.
bool IsBlank(const Picture& picture);

} // namespace ymds
