#include "LogFormat.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string_view>

#include "Text/Text.h"

namespace ymlib {
namespace {

// The runtime's own functions: the compiler's ANSI replacements read %s as narrow in wide
// formats too.
int Print(char* text, std::size_t size, const char* format, std::va_list arguments) {
    return _vsnprintf(text, size, format, arguments);
}

int Print(wchar_t* text, std::size_t size, const wchar_t* format, std::va_list arguments) {
    return _vsnwprintf(text, size, format, arguments);
}

int Measure(const char* format, std::va_list arguments) {
    return _vscprintf(format, arguments);
}

int Measure(const wchar_t* format, std::va_list arguments) {
    return _vscwprintf(format, arguments);
}

/// Lets the runtime answer a bad format with an error instead of ending the process, which
/// msvcrt.dll does by itself.
class InvalidParameterGuard {
#if defined(_MSC_VER)
public:
    InvalidParameterGuard() : m_previous(_set_thread_local_invalid_parameter_handler(Ignore)) {}
    ~InvalidParameterGuard() {
        _set_thread_local_invalid_parameter_handler(m_previous);
    }
    InvalidParameterGuard(const InvalidParameterGuard&) = delete;
    InvalidParameterGuard& operator=(const InvalidParameterGuard&) = delete;

private:
    static void Ignore(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {}
    _invalid_parameter_handler m_previous;
#endif
};

template <class Char> std::basic_string<Char> Format(const Char* format, std::va_list arguments) {
    [[maybe_unused]] const InvalidParameterGuard guard;
    constexpr std::size_t kUsualSize = 512;
    Char usual[kUsualSize];
    std::va_list again;
    va_copy(again, arguments);
    int length = Print(usual, kUsualSize, format, arguments);
    std::basic_string<Char> text;
    if (length >= 0 && static_cast<std::size_t>(length) <= kUsualSize) {
        text.assign(usual, static_cast<std::size_t>(length));
    } else {
        // A negative length means "too long" as well as "cannot be formatted".
        std::va_list measured;
        va_copy(measured, again);
        length = Measure(format, measured);
        va_end(measured);
        if (length >= 0) {
            // One more for the terminator that the runtime may want to write.
            text.resize(static_cast<std::size_t>(length) + 1);
            length = Print(text.data(), text.size(), format, again);
        }
        if (length >= 0) {
            text.resize(std::min(text.size(), static_cast<std::size_t>(length)));
        } else {
            text = format;
        }
    }
    va_end(again);
    return text;
}

std::wstring DecodeNarrow(std::string_view bytes) {
    namespace text = ymdshow::text;
    // Text that is not valid in the code page is most often UTF-8; failing that, each byte beyond
    // ASCII shows as a replacement character.
    std::wstring wide = text::ToWide(bytes);
    if (wide.empty()) {
        wide = text::DecodeUtf8(bytes, text::Utf8::Full);
    }
    if (wide.empty()) {
        wide.resize(bytes.size());
        std::transform(bytes.begin(), bytes.end(), wide.begin(), [](char byte) {
            return (byte & 0x80) == 0 ? static_cast<wchar_t>(byte) : L'\xfffd';
        });
    }
    return wide;
}

} // namespace

std::wstring FormatMessageText(const char* format, std::va_list arguments) {
    return DecodeNarrow(Format(format, arguments));
}

std::wstring FormatMessageText(const wchar_t* format, std::va_list arguments) {
    return Format(format, arguments);
}

} // namespace ymlib
