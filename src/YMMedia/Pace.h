#pragma once

#include <cstdint>

namespace ymdshow {

/// What a playing item repeats, and at which rate its source plays when the graph's manager does
/// not know of it: the graph's position is set right by both. Times are in 100 ns units.
struct Pace {
    static constexpr std::uint32_t kSegment = 0x10; ///< AM_SEEKING_Segment

    std::int64_t start = 0;
    std::int64_t end = 0;   ///< 0 without a range
    bool isSegment = false; ///< the source tells the end and goes on without a gap

    double rate = 1.0;       ///< that the manager does not know
    std::int64_t origin = 0; ///< the position from which it holds

    bool HasRange() const { return end > start; }
    /// For a seek within the range, which stays.
    std::uint32_t SegmentFlag() const { return HasRange() && isSegment ? kSegment : 0; }
    std::int64_t PositionOf(std::int64_t told) const {
        std::int64_t position = told;
        if (rate != 1.0 && told > origin) {
            position =
                origin + static_cast<std::int64_t>(static_cast<double>(told - origin) * rate);
        }
        if (HasRange() && isSegment && position >= end) {
            position = start + (position - start) % (end - start);
        }
        return position;
    }
};

} // namespace ymdshow
