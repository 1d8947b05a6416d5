#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text of the library: code page 936, UTF-8, UTF-16. Knows no other room and no
/// platform type; wide strings hold UTF-16 code units wherever wchar_t is wider.
namespace ymdshow::text {

// ---- code page 936 -------------------------------------------------------------

/// Code page 936 to UTF-16 as the C runtime's mbstowcs does it under the locale
/// "chs": conversion ends at the first zero byte, and text that is not valid in the
/// code page gives an empty string. The process locale is neither used nor changed.
std::wstring ToWide(const std::string& narrow);

/// The same into a string whose memory is used again.
void ToWide(std::string_view narrow, std::wstring& wide);

/// UTF-16 to code page 936 as wcstombs does it under "chs", up to the first zero. A
/// character that the code page lacks becomes '?', so that the rest of a path or a
/// name stays readable; TryToNarrow tells that case.
std::string ToNarrow(const std::wstring& wide);

/// The same; false, with `narrow` as ToNarrow gives it, when a character was lost.
bool TryToNarrow(const std::wstring& wide, std::string& narrow);

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

/// UTF-8 to UTF-16. A leading byte-order mark is skipped. Only sequences of one to
/// three bytes are taken, each giving one code unit (surrogates and overlong forms
/// included); anything else makes the whole text empty. Where it went wrong goes to
/// `badOffset`, npos when nothing did.
std::wstring DecodeUtf8(std::string_view bytes, std::size_t* badOffset = nullptr);

/// The inverse: each code unit on its own becomes one to three bytes, so that a
/// surrogate pair comes back from DecodeUtf8 as the same pair.
std::string EncodeUtf8(std::wstring_view units);

/// UTF-16 bytes without their byte-order mark. An odd last byte is dropped.
std::wstring DecodeUtf16(std::string_view bytes, bool bigEndian);

/// Length of the well-formed UTF-8 sequence of two to four bytes at the start of
/// `bytes` (no overlong form, no surrogate, nothing above U+10FFFF); 0 when there is
/// none, a plain ASCII byte included.
std::size_t Utf8SequenceLength(std::string_view bytes);

// ---- trimming and letter case --------------------------------------------------

/// Without blanks, tabs, carriage returns and line feeds at both ends.
std::string_view Trim(std::string_view text);
std::wstring_view Trim(std::wstring_view text);

/// A to Z become a to z, nothing else changes.
std::string LowerAscii(std::string text);
std::wstring LowerAscii(std::wstring text);

/// Only bytes below 0x80.
bool IsAscii(std::string_view text);

} // namespace ymdshow::text
