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

constexpr std::size_t maxDepth = 1000; // the reader's own limit

std::string_view BytesOf(const Json::Value& string) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (!string.getString(&begin, &end)) {
        return {};
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

} // namespace

struct ScriptDocument::Reader {
    Json::Reader json;
};

ScriptDocument::ScriptDocument(const ScriptText& text)
    : m_text(text), m_reader(std::make_unique<Reader>()) {}

ScriptDocument::~ScriptDocument() = default;

bool ScriptDocument::Parse(SyntaxError& error) {
    const std::string_view text = m_text.ForReader();
    m_begin = 0;
    try {
        if (m_reader->json.parse(text.data(), text.data() + text.size(), m_root, false)) {
            return true;
        }
    } catch (const Json::Exception& exception) {
        // Thrown for nesting beyond the limit, and for little else.
        error.offset = OffsetBeyondDepth(text, maxDepth);
        error.message = error.offset < text.size() ? "nested too deeply" : exception.what();
        return false;
    }
    const auto errors = m_reader->json.getStructuredErrors();
    if (!errors.empty()) {
        error.offset = static_cast<std::size_t>(errors.front().offset_start);
        error.message = errors.front().message;
    }
    return false;
}

bool ScriptDocument::ParsePart(std::size_t begin, std::size_t end) {
    const char* const text = m_text.ForReader().data();
    m_begin = begin;
    try {
        return m_reader->json.parse(text + begin, text + end, m_root, false) &&
               static_cast<std::size_t>(m_root.getOffsetLimit()) == end - begin;
    } catch (const Json::Exception&) {
        return false;
    }
}

std::size_t ScriptDocument::OffsetOf(const Json::Value& value) const {
    return m_begin + static_cast<std::size_t>(value.getOffsetStart());
}

bool ScriptDocument::HasEscape(const Json::Value& string) const {
    return m_text.HasEscape(OffsetOf(string),
                            m_begin + static_cast<std::size_t>(string.getOffsetLimit()));
}

void ScriptDocument::GetWide(const Json::Value& string, std::wstring& wide) const {
    const std::string_view bytes = BytesOf(string);
    if (text::IsAscii(bytes)) {
        // Not assign(), which makes a string of its own first.
        wide.resize(bytes.size());
        std::copy(bytes.begin(), bytes.end(), wide.begin());
    } else if (m_text.IsUnicode() || HasEscape(string) || ymlib::isSureUtf8(string)) {
        wide = text::DecodeUtf8(bytes);
    } else {
        text::ToWide(bytes, wide);
    }
}

bool ScriptDocument::GetNarrow(const Json::Value& string, std::string& narrow) const {
    narrow = BytesOf(string);
    if (text::IsAscii(narrow)) {
        return true;
    }
    if (!m_text.IsUnicode() && !HasEscape(string)) {
        return true;
    }
    const std::wstring wide = text::DecodeUtf8(narrow);
    return text::TryToNarrow(wide, narrow) && !wide.empty();
}

} // namespace ymdshow
