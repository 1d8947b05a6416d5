#include "YMCoderScheme/ScriptDocument.h"

#include "Text/Text.h"

#include <algorithm>

#include <ymlib/Json.h>

// The older reader class: its grammar is the script's, and it says where it failed.
#if defined(_MSC_VER)
#pragma warning(disable : 4996)
#elif defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace ymdshow {

namespace {

constexpr std::size_t kMaxDepth = 1000; // the reader's own limit

std::string_view BytesOf(const Json::Value& string) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (!string.getString(&begin, &end)) {
        return {};
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

} // namespace

bool ScriptDocument::Parse(SyntaxError& error) {
    const std::string_view text = m_text.ForReader();
    Json::Reader reader;
    try {
        if (reader.parse(text.data(), text.data() + text.size(), m_root, false)) {
            return true;
        }
    } catch (const Json::Exception& exception) {
        // Thrown for nesting beyond the limit, and for little else.
        error.offset = OffsetBeyondDepth(text, kMaxDepth);
        error.message = error.offset < text.size() ? "nested too deeply" : exception.what();
        return false;
    }
    const auto errors = reader.getStructuredErrors();
    if (!errors.empty()) {
        error.offset = static_cast<std::size_t>(errors.front().offset_start);
        error.message = errors.front().message;
    }
    return false;
}

bool ScriptDocument::HasEscape(const Json::Value& string) const {
    return m_text.HasEscape(static_cast<std::size_t>(string.getOffsetStart()),
                            static_cast<std::size_t>(string.getOffsetLimit()));
}

void ScriptDocument::GetWide(const Json::Value& string, std::wstring& wide) const {
    const std::string_view bytes = BytesOf(string);
    if (text::IsAscii(bytes)) {
        // Not assign(), which makes a string of its own first.
        wide.resize(bytes.size());
        std::copy(bytes.begin(), bytes.end(), wide.begin());
    } else if (m_text.IsUnicode() || HasEscape(string) || ymlib::isSureUtf8(string)) {
        wide = text::DecodeUtf8(bytes, text::Utf8::Short);
    } else {
        wide = text::ToWide(bytes);
    }
}

bool ScriptDocument::GetNarrow(const Json::Value& string, std::string& narrow) const {
    narrow = BytesOf(string);
    if (text::IsAscii(narrow) || (!m_text.IsUnicode() && !HasEscape(string))) {
        return true;
    }
    const std::wstring wide = text::DecodeUtf8(narrow, text::Utf8::Short);
    bool isLossy = false;
    narrow = text::ToNarrow(wide, &isLossy);
    return !isLossy && !wide.empty();
}

} // namespace ymdshow
