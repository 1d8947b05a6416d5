#pragma once

#include <cstddef>
#include <string_view>

/// The one check of UTF-8, in a header because the utility library uses it, too.
namespace ymdshow::text {

/// Length of the well-formed UTF-8 sequence at the start of `bytes` (no overlong form, no
/// surrogate, nothing above U+10FFFF); 0 when there is none.
inline std::size_t Utf8SequenceLength(std::string_view bytes) {
    if (bytes.empty()) {
        return 0;
    }
    const auto byteAt = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead > 0xF4 || bytes.size() < length) {
        return 0;
    }
    for (std::size_t at = 1; at < length; ++at) {
        if ((byteAt(at) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const unsigned char second = byteAt(1);
    const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool isSurrogate = lead == 0xED && second >= 0xA0;
    const bool isBeyond = lead == 0xF4 && second >= 0x90;
    return isOverlong || isSurrogate || isBeyond ? 0 : length;
}

/// Nothing but well-formed sequences.
inline bool IsUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = Utf8SequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

} // namespace ymdshow::text
