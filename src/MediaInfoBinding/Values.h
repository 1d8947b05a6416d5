#pragma once

#include <cstdint>
#include <string>

/// The numbers in the library's answers. Each stops at the first character that does not
/// belong to the number, and is 0 when there is none before it.
namespace ymdshow::mediainfo {

/// A whole number; one beyond 32 bits is cut to the nearest 32-bit value.
std::int32_t Integer(const std::string& text);

/// The same for what cannot be negative: sizes, counts.
std::int32_t Count(const std::string& text);

/// Decimal, with a point in every locale. 0 when it is beyond what a float holds.
float Decimal(const std::string& text);

/// Milliseconds as 100 ns units, never negative. The whole number's limit makes
/// 2147483647 ms (596 hours) the longest duration there is.
std::int64_t Duration(const std::string& milliseconds);

/// Frames per second as 100 ns units a frame; 0 when there is no such time.
std::int64_t FrameTime(const std::string& framesPerSecond);

/// The sampling rate's text times 1000, at most what 32 bits hold.
std::uint32_t SamplingRate(const std::string& text);

/// "16:9" as 16 / 9; 0 without a colon or when the right side is not above 0.
float ColonRatio(const std::string& text);

} // namespace ymdshow::mediainfo
