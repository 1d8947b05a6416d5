#include "YMCoderScheme/ScriptText.h"

#include "Text/Text.h"
#include "YMCoderScheme/TextLocation.h"

#include <algorithm>
#include <utility>

namespace ymdshow {

namespace {

constexpr std::size_t escapeLength = 6; // \uXXXX

bool IsHighByte(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

/// A \u escape for a character beyond ASCII begins at `at`.
bool IsWideEscape(std::string_view text, std::size_t at) {
    const std::string_view escape = text.substr(at, escapeLength);
    return escape.size() == escapeLength && escape.substr(0, 2) == "\\u" &&
           (escape.substr(2, 2) != "00" || escape[4] >= '8');
}

/// A double-byte character of code page 936 begins at `at`.
bool IsPair(std::string_view text, std::size_t at) {
    return at + 1 < text.size() && text::IsLeadByte(static_cast<unsigned char>(text[at])) &&
           text::IsTrailByte(static_cast<unsigned char>(text[at + 1]));
}

/// A string literal, from its opening quote to behind its closing one.
struct Literal {
    std::size_t end = 0;
    bool isUtf8 = true;
    bool hasWideEscape = false;
    bool hasBackslashTrail = false;

    /// The reader would get the literal wrong as it stands.
    bool NeedsRewriting() const { return !isUtf8 && (hasWideEscape || hasBackslashTrail); }
};

/// Steps over `text[at]`, which is no quote: an escape or one character.
std::size_t StepAnsi(std::string_view text, std::size_t at, Literal& literal) {
    if (text[at] == '\\') {
        literal.hasWideEscape |= IsWideEscape(text, at);
        return at + 2;
    }
    if (IsPair(text, at)) {
        literal.hasBackslashTrail |= text[at + 1] == '\\';
        return at + 2;
    }
    return at + 1;
}

/// Reads the literal as UTF-8, and as code page 936 when it is not. The encoding has to
/// be settled first: it decides which quote ends the literal.
Literal ScanLiteral(std::string_view text, std::size_t begin) {
    Literal literal;
    std::size_t at = begin + 1;
    while (at < text.size() && text[at] != '"') {
        if (!IsHighByte(text[at])) {
            at = text[at] == '\\' ? StepAnsi(text, at, literal) : at + 1;
            continue;
        }
        const std::size_t length = text::Utf8SequenceLength(text.substr(at, 4));
        if (length == 0) {
            literal.isUtf8 = false;
            break;
        }
        at += length;
    }
    if (!literal.isUtf8) {
        at = begin + 1;
        while (at < text.size() && text[at] != '"') {
            at = StepAnsi(text, at, literal);
        }
    }
    literal.end = std::min(at + 1, text.size());
    return literal;
}

/// Behind the comment at `at`, or behind the slash when none begins there.
std::size_t SkipComment(std::string_view text, std::size_t at) {
    const std::string_view mark = text.substr(at, 2);
    std::size_t end = at + 1;
    if (mark == "//") {
        end = text.find_first_of("\r\n", at);
    } else if (mark == "/*") {
        end = text.find("*/", at + 2);
        end = end == text.npos ? end : end + 2;
    }
    return std::min(end, text.size());
}

void AppendEscape(std::string& out, wchar_t unit) {
    constexpr char digits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned>(unit);
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += digits[value >> shift & 0xF];
    }
}

/// Receives the text piece by piece and builds what the reader gets.
class Rewriter {
public:
    explicit Rewriter(std::string& out) : m_out(out) {}
    void Copy(std::string_view text, std::size_t begin, std::size_t end) {
        m_out.append(text, begin, end - begin);
    }
    void Replace(std::size_t, std::string_view by) { m_out += by; }

private:
    std::string& m_out;
};

/// Receives the same pieces and turns sorted offsets of the outcome into offsets of
/// the original.
class Mapper {
public:
    Mapper(const std::vector<std::size_t>& offsets, std::vector<std::size_t>& original)
        : m_offsets(offsets), m_original(original) {}
    void Copy(std::string_view, std::size_t begin, std::size_t end) {
        for (const std::size_t size = end - begin; More(size);) {
            m_original.push_back(begin + (m_offsets[m_original.size()] - m_size));
        }
        m_size += end - begin;
    }
    void Replace(std::size_t begin, std::string_view by) {
        while (More(by.size())) {
            m_original.push_back(begin);
        }
        m_size += by.size();
    }

private:
    bool More(std::size_t size) const {
        return m_original.size() < m_offsets.size() && m_offsets[m_original.size()] < m_size + size;
    }

    const std::vector<std::size_t>& m_offsets;
    std::vector<std::size_t>& m_original;
    std::size_t m_size = 0;
};

/// With an escape in it the whole literal becomes escapes, so that its value is UTF-8
/// throughout; otherwise second bytes that look like a backslash are doubled and the
/// value has the bytes of the literal.
template <class Sink>
void RewriteLiteral(std::string_view text, std::size_t begin, const Literal& literal, Sink& sink) {
    Literal scratch;
    std::size_t copied = begin;
    for (std::size_t at = begin + 1; at < literal.end;) {
        const std::size_t next = std::min(StepAnsi(text, at, scratch), literal.end);
        const bool isPair = next == at + 2 && IsHighByte(text[at]);
        std::string by;
        if (isPair && literal.hasWideEscape) {
            for (const wchar_t unit : text::ToWide(std::string(text.substr(at, 2)))) {
                AppendEscape(by, unit);
            }
        } else if (isPair && text[at + 1] == '\\') {
            by = {text[at], '\\', '\\'};
        }
        if (!by.empty()) {
            sink.Copy(text, copied, at);
            sink.Replace(at, by);
            copied = next;
        }
        at = next;
    }
    sink.Copy(text, copied, literal.end);
}

/// True when a literal was rewritten; the sink has got all of the text then. With
/// `force` it gets the text in any case.
template <class Sink> bool RewriteText(std::string_view text, bool force, Sink& sink) {
    bool rewritten = false;
    std::size_t copied = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '/') {
            at = SkipComment(text, at);
            continue;
        }
        if (text[at] != '"') {
            ++at;
            continue;
        }
        const Literal literal = ScanLiteral(text, at);
        if (literal.NeedsRewriting()) {
            rewritten = true;
            sink.Copy(text, copied, at);
            RewriteLiteral(text, at, literal, sink);
            copied = literal.end;
        }
        at = literal.end;
    }
    if (rewritten || force) {
        sink.Copy(text, copied, text.size());
    }
    return rewritten;
}

} // namespace

void ScriptText::SetScript(std::string_view script) {
    m_original = script;
    m_forReader = script;
    m_mayHaveEscapes = script.find("\\u") != script.npos;
    if (text::IsAscii(script)) {
        return;
    }
    Rewriter rewriter(m_rewritten);
    m_rewritten.reserve(script.size() + script.size() / 16);
    if (RewriteText(script, false, rewriter)) {
        m_forReader = m_rewritten;
        m_mayHaveEscapes = m_rewritten.find("\\u") != std::string::npos;
    }
}

bool ScriptText::SetFile(std::string bytes, TextPosition* bad) {
    const std::string_view mark = std::string_view(bytes).substr(0, 2);
    const bool isLittle = mark == "\xFF\xFE";
    const bool isBig = mark == "\xFE\xFF";
    if (!isLittle && !isBig && !text::LooksLikeUtf8(bytes)) {
        m_storage = std::move(bytes);
        SetScript(m_storage);
        return true;
    }
    std::wstring wide;
    std::size_t badOffset = std::string::npos;
    if (isLittle || isBig) {
        wide = text::DecodeUtf16(std::string_view(bytes).substr(2), isBig);
    } else {
        wide = text::DecodeUtf8(bytes, &badOffset);
    }
    if (badOffset != std::string::npos) {
        *bad = LocateOffsets(bytes, true, {badOffset}).front();
        return false;
    }
    // The text goes on as UTF-8 rather than through code page 936, which would lose
    // characters; like that conversion it ends at the first zero.
    bytes = {};
    m_storage = text::EncodeUtf8(wide.c_str());
    m_original = m_forReader = m_storage;
    m_isUnicode = m_mayHaveEscapes = true;
    return true;
}

bool ScriptText::HasEscape(std::size_t begin, std::size_t end) const {
    if (!m_mayHaveEscapes) {
        return false;
    }
    const std::string_view literal = m_forReader.substr(begin, end - begin);
    for (std::size_t at = 0; (at = literal.find('\\', at)) != literal.npos; at += 2) {
        if (IsWideEscape(literal, at)) {
            return true;
        }
    }
    return false;
}

std::vector<std::size_t>
ScriptText::OffsetsInOriginal(const std::vector<std::size_t>& offsets) const {
    std::vector<std::size_t> original;
    Mapper mapper(offsets, original);
    RewriteText(m_original, true, mapper);
    original.resize(offsets.size(), m_original.size());
    return original;
}

std::vector<TextPosition> ScriptText::Locate(const std::vector<std::size_t>& offsets) const {
    // The walks go once through the text, so they take the offsets in order.
    std::vector<std::size_t> order(offsets.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::sort(order.begin(), order.end(),
              [&offsets](std::size_t a, std::size_t b) { return offsets[a] < offsets[b]; });
    std::vector<std::size_t> sorted;
    sorted.reserve(order.size());
    for (const std::size_t i : order) {
        sorted.push_back(offsets[i]);
    }
    if (!m_rewritten.empty()) {
        sorted = OffsetsInOriginal(sorted);
    }
    const std::vector<TextPosition> located = LocateOffsets(m_original, m_isUnicode, sorted);
    std::vector<TextPosition> positions(offsets.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        positions[order[i]] = located[i];
    }
    return positions;
}

std::size_t OffsetBeyondDepth(std::string_view text, std::size_t depth) {
    std::size_t level = 0;
    for (std::size_t at = 0; (at = text.find_first_of("\"/[]{}", at)) != text.npos;) {
        const char c = text[at];
        if (c == '"') {
            at = ScanLiteral(text, at).end;
        } else if (c == '/') {
            at = SkipComment(text, at);
        } else {
            if (c == '[' || c == '{') {
                if (++level > depth) {
                    return at;
                }
            } else if (level > 0) {
                --level;
            }
            ++at;
        }
    }
    return text.size();
}

} // namespace ymdshow
