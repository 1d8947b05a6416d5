// Conversions of arbitrary bytes: what one direction gives, the other takes back.

#include "Text/Text.h"

#include <cassert>
#include <cstdint>

using namespace ymdshow;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::wstring wide = text::ToWide(bytes);
    assert(text::ToWide(text::ToNarrow(wide)) == wide);
    const std::wstring units = L"x" + text::DecodeUtf16(bytes, false);
    assert(text::DecodeUtf8(text::EncodeUtf8(units, text::Utf8::Short), text::Utf8::Short) ==
           units);
    const std::wstring whole = text::DecodeUtf8(bytes, text::Utf8::Full);
    assert(text::DecodeUtf8(text::EncodeUtf8(L"x" + whole, text::Utf8::Full), text::Utf8::Full) ==
           L"x" + whole);
    text::ToNarrow(units);
    std::size_t bad = 0;
    const std::wstring decoded = text::DecodeUtf8(bytes, text::Utf8::Short, &bad);
    assert(bad == std::string::npos || (decoded.empty() && bad < size));
    text::LooksLikeUtf8(bytes);
    return 0;
}
