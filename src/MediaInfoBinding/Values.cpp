#include "MediaInfoBinding/Values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace ymdshow::mediainfo {
namespace {

/// Where atoi and atof begin to read: after blanks and a plus sign.
const char* NumberStart(const std::string& text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    at = std::find_if(at, end, [](char c) { return c != ' ' && (c < '\t' || c > '\r'); });
    return end - at > 1 && at[0] == '+' && at[1] != '-' ? at + 1 : at;
}

double Double(const std::string& text) {
    double value = 0.0;
    std::from_chars(NumberStart(text), text.data() + text.size(), value);
    return std::isfinite(value) ? value : 0.0;
}

float FiniteFloat(double value) {
    return std::fabs(value) <= std::numeric_limits<float>::max() ? static_cast<float>(value) : 0.0F;
}

} // namespace

std::int32_t Integer(const std::string& text) {
    const char* const start = NumberStart(text);
    std::int32_t value = 0;
    const auto result = std::from_chars(start, text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        return *start == '-' ? std::numeric_limits<std::int32_t>::min()
                             : std::numeric_limits<std::int32_t>::max();
    }
    return value;
}

std::int32_t Count(const std::string& text) {
    return std::max(Integer(text), 0);
}

float Decimal(const std::string& text) {
    return FiniteFloat(Double(text));
}

std::int64_t Duration(const std::string& milliseconds) {
    return std::int64_t{Count(milliseconds)} * 10000;
}

std::int64_t FrameTime(const std::string& framesPerSecond) {
    const double time = 10000000.0 / Double(framesPerSecond);
    // Infinity, for the rate 0, fails the comparison too.
    return time > 0.0 && time < 9.0e18 ? static_cast<std::int64_t>(time) : 0;
}

std::uint32_t SamplingRate(const std::string& text) {
    // Kept: the answer is in Hz already. The graph scan overwrites the field.
    const double rate = Double(text) * 1000.0;
    return static_cast<std::uint32_t>(
        std::clamp(rate, 0.0, double{std::numeric_limits<std::uint32_t>::max()}));
}

float ColonRatio(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return 0.0F;
    }
    const double right = Double(text.substr(colon + 1));
    return right > 0.0 ? FiniteFloat(Double(text.substr(0, colon)) / right) : 0.0F;
}

} // namespace ymdshow::mediainfo
