#include "Text/Text.h"

namespace ymdshow::text {

namespace {

unsigned char ByteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

bool IsContinuation(std::string_view bytes, std::size_t at) {
    return at < bytes.size() && (ByteAt(bytes, at) & 0xC0) == 0x80;
}

bool HasUtf8Mark(std::string_view bytes) {
    return bytes.substr(0, 3) == "\xEF\xBB\xBF";
}

/// Bytes of the sequence that `lead` begins, 1 to 3; 0 when it begins none.
std::size_t ShortSequenceLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC0 || lead >= 0xF0) {
        return 0;
    }
    return lead < 0xE0 ? 2 : 3;
}

} // namespace

bool LooksLikeUtf8(std::string_view bytes) {
    constexpr int enough = 5;
    if (HasUtf8Mark(bytes)) {
        return true;
    }
    int sequences = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = ShortSequenceLength(ByteAt(bytes, at));
        if (length == 0) {
            return false;
        }
        for (std::size_t i = 1; i < length; ++i) {
            if (at + i >= bytes.size()) {
                return sequences > 0; // cut off by the end: the answer so far
            }
            if (!IsContinuation(bytes, at + i)) {
                return false;
            }
        }
        if (length > 1 && ++sequences == enough) {
            return true;
        }
        at += length;
    }
    return sequences > 0;
}

std::wstring DecodeUtf8(std::string_view bytes, std::size_t* badOffset) {
    if (badOffset != nullptr) {
        *badOffset = std::string_view::npos;
    }
    std::wstring units;
    units.reserve(bytes.size());
    for (std::size_t at = HasUtf8Mark(bytes) ? 3 : 0; at < bytes.size();) {
        const unsigned char lead = ByteAt(bytes, at);
        const std::size_t length = ShortSequenceLength(lead);
        unsigned unit = length == 1 ? lead : lead & (length == 2 ? 0x1FU : 0x0FU);
        bool good = length != 0;
        for (std::size_t i = 1; good && i < length; ++i) {
            good = IsContinuation(bytes, at + i);
            if (good) {
                unit = unit << 6 | (ByteAt(bytes, at + i) & 0x3FU);
            }
        }
        if (!good) {
            if (badOffset != nullptr) {
                *badOffset = at;
            }
            return {};
        }
        units.push_back(static_cast<wchar_t>(unit));
        at += length;
    }
    return units;
}

std::string EncodeUtf8(std::wstring_view units) {
    std::string bytes;
    bytes.reserve(units.size());
    for (const wchar_t c : units) {
        const unsigned unit = static_cast<unsigned>(c) & 0xFFFFU;
        if (unit < 0x80) {
            bytes.push_back(static_cast<char>(unit));
        } else if (unit < 0x800) {
            bytes.push_back(static_cast<char>(0xC0 | unit >> 6));
            bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
        } else {
            bytes.push_back(static_cast<char>(0xE0 | unit >> 12));
            bytes.push_back(static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
            bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
        }
    }
    return bytes;
}

std::wstring DecodeUtf16(std::string_view bytes, bool bigEndian) {
    const std::size_t low = bigEndian ? 1 : 0;
    std::wstring units(bytes.size() / 2, L'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        const unsigned unit =
            ByteAt(bytes, 2 * i + low) | static_cast<unsigned>(ByteAt(bytes, 2 * i + 1 - low)) << 8;
        units[i] = static_cast<wchar_t>(unit);
    }
    return units;
}

std::size_t Utf8SequenceLength(std::string_view bytes) {
    if (bytes.empty()) {
        return 0;
    }
    const unsigned char lead = ByteAt(bytes, 0);
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(bytes, i)) {
            return 0;
        }
    }
    if (length < 3) {
        return length;
    }
    const unsigned char second = ByteAt(bytes, 1);
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool surrogate = lead == 0xED && second >= 0xA0;
    const bool beyond = lead == 0xF4 && second >= 0x90;
    return overlong || surrogate || beyond ? 0 : length;
}

} // namespace ymdshow::text
