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
std::size_t ShortLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC0 || lead >= 0xF0) {
        return 0;
    }
    return lead < 0xE0 ? 2 : 3;
}

/// The same for the sequence at `at`; 0 when it is not whole.
std::size_t ShortLength(std::string_view bytes, std::size_t at) {
    const std::size_t length = ShortLength(ByteAt(bytes, at));
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(bytes, at + i)) {
            return 0;
        }
    }
    return length;
}

void AppendUtf8(std::string& bytes, unsigned value) {
    if (value < 0x80) {
        bytes.push_back(static_cast<char>(value));
        return;
    }
    const int more = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    bytes.push_back(static_cast<char>((0xFF00 >> (more + 1) & 0xFF) | value >> 6 * more));
    for (int i = more - 1; i >= 0; --i) {
        bytes.push_back(static_cast<char>(0x80 | (value >> 6 * i & 0x3F)));
    }
}

} // namespace

bool LooksLikeUtf8(std::string_view bytes) {
    constexpr int kEnough = 5;
    if (HasUtf8Mark(bytes)) {
        return true;
    }
    int sequences = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = ShortLength(ByteAt(bytes, at));
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
        if (length > 1 && ++sequences == kEnough) {
            return true;
        }
        at += length;
    }
    return sequences > 0;
}

std::wstring DecodeUtf8(std::string_view bytes, Utf8 rule, std::size_t* badOffset) {
    if (badOffset != nullptr) {
        *badOffset = std::string_view::npos;
    }
    std::wstring units;
    units.reserve(bytes.size());
    for (std::size_t at = HasUtf8Mark(bytes) ? 3 : 0; at < bytes.size();) {
        const std::size_t length =
            rule == Utf8::Full ? Utf8SequenceLength(bytes.substr(at, 4)) : ShortLength(bytes, at);
        if (length == 0) {
            if (badOffset != nullptr) {
                *badOffset = at;
            }
            return {};
        }
        unsigned value = ByteAt(bytes, at) & (length == 1 ? 0x7FU : 0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i) {
            value = value << 6 | (ByteAt(bytes, at + i) & 0x3FU);
        }
        if (value > 0xFFFF) {
            units.push_back(static_cast<wchar_t>(0xD800 + ((value - 0x10000) >> 10)));
            value = 0xDC00 | (value & 0x3FF);
        }
        units.push_back(static_cast<wchar_t>(value));
        at += length;
    }
    return units;
}

std::string EncodeUtf8(std::wstring_view units, Utf8 rule) {
    const auto unitAt = [units](std::size_t at) {
        return at < units.size() ? static_cast<unsigned>(units[at]) & 0xFFFFU : 0;
    };
    std::string bytes;
    bytes.reserve(units.size());
    for (std::size_t at = 0; at < units.size(); ++at) {
        unsigned value = unitAt(at);
        if (rule == Utf8::Full && (value & 0xF800) == 0xD800) {
            const unsigned next = unitAt(at + 1);
            if (value < 0xDC00 && (next & 0xFC00) == 0xDC00) {
                value = 0x10000 + ((value & 0x3FF) << 10 | (next & 0x3FF));
                ++at;
            } else {
                value = 0xFFFD;
            }
        }
        AppendUtf8(bytes, value);
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

} // namespace ymdshow::text
