#include "YMCoderScheme/ScriptText.h"

#include "Text/Text.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ymdshow {

namespace {

constexpr std::size_t kEscapeLength = 6; // \uXXXX

bool IsHighByte(char c) {
    return static_cast<unsigned char>(c) >= 0x80;
}

/// A \u escape for a character beyond ASCII begins at `at`.
bool IsWideEscape(std::string_view text, std::size_t at) {
    const std::string_view escape = text.substr(at, kEscapeLength);
    return escape.size() == kEscapeLength && escape.substr(0, 2) == "\\u" &&
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

/// With an escape in it the whole literal becomes escapes, so that its value is UTF-8
/// throughout; otherwise second bytes that look like a backslash are doubled and the
/// value has the bytes of the literal.
void AppendRewritten(std::string& out, std::string_view text, bool hasWideEscape) {
    Literal scratch;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t next = std::min(StepAnsi(text, at, scratch), text.size());
        const std::string_view character = text.substr(at, next - at);
        const bool isPair = character.size() == 2 && IsHighByte(character[0]);
        const std::wstring wide = isPair && hasWideEscape ? text::ToWide(character) : L"";
        for (const wchar_t unit : wide) {
            AppendEscape(out, unit);
        }
        if (wide.empty()) {
            out += character;
            if (isPair && character[1] == '\\') {
                out += '\\';
            }
        }
        at = next;
    }
}

} // namespace

void ScriptText::SetScript(std::string_view script) {
    m_original = m_forReader = script;
    if (!text::IsAscii(script)) {
        Rewrite();
    }
    m_mayHaveEscapes = m_forReader.find("\\u") != m_forReader.npos;
}

void ScriptText::Rewrite() {
    std::size_t copied = 0;
    for (std::size_t at = 0; at < m_original.size();) {
        if (m_original[at] == '/') {
            at = SkipComment(m_original, at);
        } else if (m_original[at] != '"') {
            ++at;
        } else {
            const Literal literal = ScanLiteral(m_original, at);
            if (literal.NeedsRewriting()) {
                m_rewritten.append(m_original, copied, at - copied);
                AppendRewritten(m_rewritten, m_original.substr(at, literal.end - at),
                                literal.hasWideEscape);
                m_rewrites.push_back({m_rewritten.size(), literal.end});
                copied = literal.end;
            }
            at = literal.end;
        }
    }
    if (copied > 0) {
        m_rewritten.append(m_original, copied);
        m_forReader = m_rewritten;
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
        wide = text::DecodeUtf8(bytes, text::Utf8::Short, &badOffset);
    }
    if (badOffset != std::string::npos) {
        *bad = TextLocator(bytes, true).Find(badOffset);
        return false;
    }
    // The text goes on as UTF-8 rather than through code page 936, which would lose
    // characters; like that conversion it ends at the first zero.
    bytes = {};
    m_storage = text::EncodeUtf8(wide.c_str(), text::Utf8::Short);
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

std::size_t ScriptText::OffsetInOriginal(std::size_t offset) const {
    const auto next =
        std::upper_bound(m_rewrites.begin(), m_rewrites.end(), offset,
                         [](std::size_t at, const RewriteEnd& end) { return at < end.inReader; });
    if (next == m_rewrites.begin()) {
        return offset;
    }
    const RewriteEnd& end = *std::prev(next);
    return end.inOriginal + (offset - end.inReader);
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
