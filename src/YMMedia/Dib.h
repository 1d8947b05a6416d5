#pragma once

#include <cstddef>
#include <cstdint>

#include <ymdshow/Snapshot.h>

namespace ymdshow {

/// Turns a packed DIB into a picture: RGB of 16, 24 or 32 bits, YUY2, UYVY, and planar or
/// semi-planar YUV of 12 bits. `topDown` says that RGB rows come from the top although the
/// header has them from the bottom. False for a format or a size that does not fit.
bool DecodeDib(const std::uint8_t* data, std::size_t size, bool topDown, Snapshot& picture);

} // namespace ymdshow
