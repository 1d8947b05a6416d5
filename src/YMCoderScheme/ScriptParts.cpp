#include "YMCoderScheme/ScriptParts.h"

namespace ymdshow {

namespace {

/// Far below the reader's limit, which counts from the top of the document.
constexpr std::size_t maxDepth = 500;

/// Takes a text apart as the JSON reader does, and gives up where that would do anything
/// out of the ordinary. The steps answer false then.
class Splitter {
public:
    explicit Splitter(std::string_view text) : m_text(text) {}

    bool Split(ScriptParts& parts) {
        bool hasFilters = false;
        bool hasSchemes = false;
        bool hasSchema = false;
        if (!SkipToToken() || !Take('{')) {
            return false;
        }
        do {
            std::string_view key;
            if (!SkipToToken() || !TakeLiteral(key)) {
                return false;
            }
            SkipBlanks(); // no comment may stand here
            if (!Take(':') || !SkipToToken()) {
                return false;
            }
            bool* const isSeen = key == "Schemes"   ? &hasSchemes
                                 : key == "Filter"  ? &hasFilters
                                 : key == "$schema" ? &hasSchema
                                                    : nullptr;
            if (isSeen == nullptr || *isSeen) {
                return false;
            }
            *isSeen = true;
            std::string_view schema;
            const bool isTaken =
                isSeen == &hasSchema
                    ? TakeLiteral(schema)
                    : TakeArray(isSeen == &hasSchemes ? parts.schemes : parts.filters);
            if (!isTaken || !SkipToToken()) {
                return false;
            }
        } while (Take(','));
        return hasSchemes && Take('}');
    }

private:
    bool Take(char c) {
        if (m_at < m_text.size() && m_text[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    void SkipBlanks() {
        while (m_at < m_text.size() && (m_text[m_at] == ' ' || m_text[m_at] == '\n' ||
                                        m_text[m_at] == '\r' || m_text[m_at] == '\t')) {
            ++m_at;
        }
    }

    bool SkipComment() {
        const std::string_view mark = m_text.substr(m_at, 2);
        if (mark == "//") {
            m_at = m_text.find_first_of("\r\n", m_at);
        } else if (mark == "/*") {
            m_at = m_text.find("*/", m_at + 2);
            m_at += m_at == m_text.npos ? 0 : 2;
        } else {
            return false;
        }
        return m_at != m_text.npos;
    }

    /// Over blanks and comments; false at the end.
    bool SkipToToken() {
        SkipBlanks();
        while (m_at < m_text.size() && m_text[m_at] == '/') {
            if (!SkipComment()) {
                return false;
            }
            SkipBlanks();
        }
        return m_at < m_text.size();
    }

    /// Behind the literal at the current place, whatever is in it.
    bool SkipLiteral() {
        for (++m_at; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] == '"') {
                ++m_at;
                return true;
            }
            m_at += m_text[m_at] == '\\' ? 1 : 0;
        }
        return false;
    }

    /// A literal whose value is its text.
    bool TakeLiteral(std::string_view& value) {
        const std::size_t begin = m_at;
        if (m_text[m_at] != '"' || !SkipLiteral()) {
            return false;
        }
        value = m_text.substr(begin + 1, m_at - begin - 2);
        return value.find('\\') == value.npos;
    }

    bool TakeArray(std::vector<ScriptParts::Range>& elements) {
        if (!Take('[')) {
            return false;
        }
        SkipBlanks(); // the reader takes no comment in an empty array
        if (Take(']')) {
            return true;
        }
        do {
            if (!SkipToToken()) {
                return false;
            }
            const std::size_t begin = m_at;
            if (m_text[m_at] != '{' || !SkipValue()) {
                return false;
            }
            elements.push_back({begin, m_at});
            if (!SkipToToken()) {
                return false;
            }
        } while (Take(','));
        return Take(']');
    }

    /// Behind the bracket that closes the one at the current place.
    bool SkipValue() {
        std::size_t depth = 0;
        while (m_at < m_text.size()) {
            const char c = m_text[m_at];
            if (c == '"') {
                if (!SkipLiteral()) {
                    return false;
                }
            } else if (c == '/') {
                if (!SkipComment()) {
                    return false;
                }
            } else {
                ++m_at;
                if ((c == '{' || c == '[') && ++depth > maxDepth) {
                    return false;
                }
                if ((c == '}' || c == ']') && --depth == 0) {
                    return true;
                }
            }
        }
        return false;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
};

} // namespace

bool SplitScript(std::string_view text, ScriptParts& parts) {
    return Splitter(text).Split(parts);
}

} // namespace ymdshow
