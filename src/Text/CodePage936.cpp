#include "Text/Text.h"

#ifdef _WIN32
#include <windows.h>

#include <clocale>
#include <cstdlib>
#else
#include <cerrno>
#include <iconv.h>
#endif

namespace ymdshow::text {

namespace {

/// A lead byte with nothing behind it. The C runtime's answer to it is failure, but
/// some read past the end on the way there, so it is told beforehand.
bool EndsInsideCharacter(std::string_view narrow) {
    for (std::size_t at = 0; at < narrow.size(); ++at) {
        if (IsLeadByte(static_cast<unsigned char>(narrow[at])) && ++at == narrow.size()) {
            return true;
        }
    }
    return false;
}

bool IsAsciiWide(std::wstring_view wide) {
    for (const wchar_t c : wide) {
        if (static_cast<unsigned>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

#ifdef _WIN32

constexpr UINT codePage = 936;

/// Made once, lives as long as the process; null when the C runtime has no "chs", the
/// system's tables then answer alone.
_locale_t ChsLocale() {
    static const _locale_t locale = _create_locale(LC_ALL, "chs");
    return locale;
}

bool ConvertToWide(const std::string& narrow, std::wstring& wide) {
    wide.resize(narrow.size() + 1);
    if (const _locale_t locale = ChsLocale()) {
        const std::size_t count = _mbstowcs_l(wide.data(), narrow.c_str(), wide.size(), locale);
        wide.resize(count == static_cast<std::size_t>(-1) ? 0 : count);
        return count != static_cast<std::size_t>(-1);
    }
    const int count = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, narrow.c_str(), -1,
                                          wide.data(), static_cast<int>(wide.size()));
    wide.resize(count > 0 ? static_cast<std::size_t>(count) - 1 : 0);
    return count > 0;
}

bool ConvertToNarrow(const std::wstring& wide, std::string& narrow) {
    narrow.resize(wide.size() * 2 + 1);
    if (const _locale_t locale = ChsLocale()) {
        const std::size_t count = _wcstombs_l(narrow.data(), wide.c_str(), narrow.size(), locale);
        if (count != static_cast<std::size_t>(-1)) {
            narrow.resize(count);
            return true;
        }
    }
    BOOL lost = FALSE;
    const int count =
        WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, wide.c_str(), -1, narrow.data(),
                            static_cast<int>(narrow.size()), "?", &lost);
    narrow.resize(count > 0 ? static_cast<std::size_t>(count) - 1 : 0);
    return count > 0 && lost == FALSE;
}

#else

/// One conversion descriptor per thread and direction: iconv keeps state in it.
class Converter {
public:
    Converter(const char* to, const char* from) : m_handle(iconv_open(to, from)) {}
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() {
        if (m_handle != reinterpret_cast<iconv_t>(-1)) {
            iconv_close(m_handle);
        }
    }

    /// Converts one character; the bytes written, 0 when it cannot be.
    std::size_t Convert(const char* in, std::size_t inSize, char* out, std::size_t outSize) {
        char* from = const_cast<char*>(in);
        const std::size_t room = outSize;
        if (iconv(m_handle, &from, &inSize, &out, &outSize) == static_cast<std::size_t>(-1)) {
            iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
            return 0;
        }
        return room - outSize;
    }

private:
    iconv_t m_handle;
};

bool ConvertToWide(const std::string& narrow, std::wstring& wide) {
    thread_local Converter converter("UTF-16LE", "GBK");
    wide.clear();
    for (std::size_t at = 0; at < narrow.size() && narrow[at] != '\0';) {
        const std::size_t length = IsLeadByte(static_cast<unsigned char>(narrow[at])) ? 2 : 1;
        char unit[4];
        if (narrow[at] == '\x80') {
            wide.push_back(0x20AC); // the code page has the euro sign here, GBK has nothing
        } else if (converter.Convert(narrow.data() + at, length, unit, sizeof unit) == 2) {
            wide += DecodeUtf16({unit, 2}, false);
        } else {
            wide.clear();
            return false;
        }
        at += length;
    }
    return true;
}

bool ConvertToNarrow(const std::wstring& wide, std::string& narrow) {
    thread_local Converter converter("GBK", "UTF-16LE");
    narrow.clear();
    bool whole = true;
    for (std::size_t at = 0; at < wide.size() && wide[at] != L'\0'; ++at) {
        const auto value = static_cast<unsigned>(wide[at]);
        const char unit[2] = {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
        char bytes[4];
        const std::size_t count = converter.Convert(unit, sizeof unit, bytes, sizeof bytes);
        if (value == 0x20AC) {
            narrow.push_back('\x80');
        } else if (count > 0) {
            narrow.append(bytes, count);
        } else {
            narrow.push_back('?');
            whole = false;
        }
    }
    return whole;
}

#endif

} // namespace

std::wstring ToWide(const std::string& narrow) {
    const std::string_view text(narrow.c_str());
    if (IsAscii(text)) {
        return std::wstring(text.begin(), text.end());
    }
    std::wstring wide;
    if (!EndsInsideCharacter(text)) {
        ConvertToWide(narrow, wide);
    }
    return wide;
}

bool TryToNarrow(const std::wstring& wide, std::string& narrow) {
    const std::wstring_view text(wide.c_str());
    if (!IsAsciiWide(text)) {
        return ConvertToNarrow(wide, narrow);
    }
    narrow.resize(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        narrow[i] = static_cast<char>(text[i]);
    }
    return true;
}

std::string ToNarrow(const std::wstring& wide) {
    std::string narrow;
    TryToNarrow(wide, narrow);
    return narrow;
}

} // namespace ymdshow::text
