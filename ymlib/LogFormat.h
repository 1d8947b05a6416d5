#pragma once

#include <cstdarg>
#include <string>

namespace ymlib {

/// Formats as the C runtime does, with %s of the format's own width; the narrow result is
/// decoded from code page 936. What cannot be formatted gives the format itself. May throw
/// std::bad_alloc only.
std::wstring FormatMessageText(const char* format, std::va_list arguments);
std::wstring FormatMessageText(const wchar_t* format, std::va_list arguments);

} // namespace ymlib
