#include "Text/Text.h"

#include <algorithm>

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

/// The code page's characters as the conversion above gives them, one by one: it has no
/// state, and asking it for each text costs several times as much.
class WideTable {
public:
    WideTable() {
        for (unsigned first = 1; first < 0x100; ++first) {
            std::string bytes(1, static_cast<char>(first));
            if (!IsLeadByte(static_cast<unsigned char>(first))) {
                m_single[first] = Convert(bytes);
                continue;
            }
            for (unsigned second = 1; second < 0x100; ++second) {
                m_pair[first - 0x81][second] = Convert(bytes + static_cast<char>(second));
            }
        }
    }

    /// The character at the start of `bytes` and its length; 0 when none is there.
    wchar_t Find(std::string_view bytes, std::size_t& length) const {
        const auto first = static_cast<unsigned char>(bytes[0]);
        if (!IsLeadByte(first)) {
            return m_single[first];
        }
        length = 2;
        return bytes.size() < 2 ? L'\0'
                                : m_pair[first - 0x81][static_cast<unsigned char>(bytes[1])];
    }

private:
    static wchar_t Convert(const std::string& bytes) {
        std::wstring wide;
        return ConvertToWide(bytes, wide) && wide.size() == 1 ? wide[0] : L'\0';
    }

    wchar_t m_single[0x100] = {};
    wchar_t m_pair[0xFE - 0x81 + 1][0x100] = {};
};

} // namespace

void ToWide(std::string_view narrow, std::wstring& wide) {
    const std::string_view text = narrow.substr(0, narrow.find('\0'));
    wide.resize(text.size());
    if (IsAscii(text)) {
        std::copy(text.begin(), text.end(), wide.begin());
        return;
    }
    static const WideTable table;
    std::size_t size = 0;
    for (std::size_t at = 0; at < text.size(); ++size) {
        std::size_t length = 1;
        wide[size] = table.Find(text.substr(at, 2), length);
        if (wide[size] == L'\0') {
            wide.clear();
            return;
        }
        at += length;
    }
    wide.resize(size);
}

std::wstring ToWide(const std::string& narrow) {
    std::wstring wide;
    ToWide(narrow, wide);
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
