// Conversions of arbitrary bytes: what one direction gives, the other takes back.

#include "Check.h"
#include "Text/Text.h"

#include <algorithm>
#include <cstdint>

using namespace ymdshow;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);

    const std::wstring wide = text::ToWide(bytes);
    std::string narrow;
    FUZZ_CHECK(text::TryToNarrow(wide, narrow));
    FUZZ_CHECK(text::ToWide(narrow) == wide);

    const std::wstring units = text::DecodeUtf16(bytes, false);
    FUZZ_CHECK(text::DecodeUtf16(bytes, true).size() == units.size());
    const std::string encoded = text::EncodeUtf8(units);
    if (units.empty() || units[0] != 0xFEFF) { // would be taken for a mark
        FUZZ_CHECK(text::DecodeUtf8(encoded) == units);
        std::size_t bad = 0;
        text::DecodeUtf8(encoded, &bad);
        FUZZ_CHECK(bad == std::string::npos);
    }
    text::ToNarrow(units);

    std::size_t bad = 0;
    const std::wstring decoded = text::DecodeUtf8(bytes, &bad);
    FUZZ_CHECK(bad == std::string::npos ? decoded.size() <= size : decoded.empty() && bad < size);
    text::LooksLikeUtf8(bytes);

    bool wellFormed = true;
    for (std::size_t at = 0; wellFormed && at < size;) {
        const std::size_t length = text::Utf8SequenceLength(std::string_view(bytes).substr(at));
        wellFormed = length != 0 || static_cast<unsigned char>(bytes[at]) < 0x80;
        FUZZ_CHECK(length <= 4 && at + length <= size);
        if (length == 4) {
            wellFormed = false; // the decoder's limit
        }
        at += length == 0 ? 1 : length;
    }
    FUZZ_CHECK(!wellFormed || bad == std::string::npos);

    const std::string_view trimmed = text::Trim(std::string_view(bytes));
    FUZZ_CHECK(text::Trim(trimmed) == trimmed);
    FUZZ_CHECK(text::LowerAscii(text::LowerAscii(bytes)) == text::LowerAscii(bytes));
    FUZZ_CHECK(text::IsAscii(bytes) == std::none_of(bytes.begin(), bytes.end(), [](char c) {
                   return static_cast<unsigned char>(c) >= 0x80;
               }));
    return 0;
}
