#include <ymlib/Json.h>

#include <cstdint>

namespace ymlib {
namespace {

/// The length of the well-formed sequence at `text`, 0 when there is none.
int SequenceLength(const char* text, const char* end) {
    const auto byteAt = [text](int index) { return static_cast<std::uint8_t>(text[index]); };
    const std::uint8_t lead = byteAt(0);
    if (lead < 0x80) {
        return 1;
    }
    // Leads C0, C1 and F5 up could only begin overlong forms or values above U+10FFFF.
    const int length = lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
    if (length == 0 || end - text < length) {
        return 0;
    }
    for (int index = 1; index < length; ++index) {
        if ((byteAt(index) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const std::uint8_t second = byteAt(1);
    const bool overlong = (lead == 0xe0 && second < 0xa0) || (lead == 0xf0 && second < 0x90);
    const bool surrogate = lead == 0xed && second > 0x9f;
    const bool beyondUnicode = lead == 0xf4 && second > 0x8f;
    return overlong || surrogate || beyondUnicode ? 0 : length;
}

} // namespace

bool isSureUtf8(const Json::Value& value) {
    const char* text = nullptr;
    const char* end = nullptr;
    if (!value.isString() || !value.getString(&text, &end)) {
        return false;
    }
    while (text != end) {
        const int length = SequenceLength(text, end);
        if (length == 0) {
            return false;
        }
        text += length;
    }
    return true;
}

} // namespace ymlib
