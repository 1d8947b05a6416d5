#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Text/Utf8.h"

/// Text of the library: code page 936, UTF-8, UTF-16. Knows no other room and no
/// platform type; wide strings hold UTF-16 code units wherever wchar_t is wider.
namespace ymdshow::text {

// ---- code page 936 -------------------------------------------------------------

/// Code page 936 to UTF-16, up to the first zero. Text that is not valid in the code page
/// gives an empty string. The process locale is neither used nor changed.
std::wstring ToWide(std::string_view narrow);

/// UTF-16 to code page 936, up to the first zero. A character that the code page lacks
/// becomes '?', so that the rest of a path or a name stays readable; `isLossy` tells that
/// case.
std::string ToNarrow(std::wstring_view wide, bool* isLossy = nullptr);

/// Begins a double-byte character of code page 936.
constexpr bool IsLeadByte(unsigned char byte) {
    return byte >= 0x81 && byte <= 0xFE;
}

/// Can end one. Backslash, braces and brackets are among these; quotes are not.
constexpr bool IsTrailByte(unsigned char byte) {
    return byte >= 0x40 && byte <= 0xFE && byte != 0x7F;
}

// ---- UTF-8 and UTF-16 ----------------------------------------------------------

/// Guesses from the bytes of a file whether they are UTF-8: at the fifth multi-byte
/// sequence the answer is yes without looking further, and plain ASCII is no.
bool LooksLikeUtf8(std::string_view bytes);

/// How much of UTF-8 is meant.
enum class Utf8 {
    Short, ///< sequences of one to three bytes, each one code unit: surrogates come one by
           ///< one, overlong forms are read; the rule of scripts
    Full,  ///< well-formed sequences of one to four bytes
};

/// UTF-8 to UTF-16. A leading byte-order mark is skipped. A byte that begins no sequence
/// makes the whole text empty; where it is goes to `badOffset`, npos when there is none.
std::wstring DecodeUtf8(std::string_view bytes, Utf8 rule, std::size_t* badOffset = nullptr);

/// The inverse. Surrogates without their other half become U+FFFD under `Full`.
std::string EncodeUtf8(std::wstring_view units, Utf8 rule);

/// UTF-16 bytes without their byte-order mark. An odd last byte is dropped.
std::wstring DecodeUtf16(std::string_view bytes, bool bigEndian);

// ---- trimming and letter case --------------------------------------------------

/// Without blanks, tabs, carriage returns and line feeds at both ends.
std::string_view Trim(std::string_view text);
std::wstring_view Trim(std::wstring_view text);

/// A to Z become a to z, nothing else changes.
std::string LowerAscii(std::string text);
std::wstring LowerAscii(std::wstring text);

/// Only bytes below 0x80.
bool IsAscii(std::string_view text);

// ---- files ---------------------------------------------------------------------

/// The bytes of a file, untranslated. False when it cannot be opened or read.
bool ReadFile(const std::wstring& path, std::string& bytes);

} // namespace ymdshow::text
