#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "YMCoderScheme/TextLocation.h"

namespace ymdshow {

/// The text of a script in the form that the JSON reader takes, and the way back from
/// there to the text as it was given.
///
/// The reader works on bytes and knows UTF-8 alone: in a string literal it would take
/// the second byte of a code page 936 character for a backslash, and would mix the
/// UTF-8 of a \u escape with the bytes around it. Such literals are rewritten first;
/// every other text is handed on without a copy.
class ScriptText {
public:
    ScriptText() = default;
    ScriptText(const ScriptText&) = delete;
    ScriptText& operator=(const ScriptText&) = delete;

    /// Takes a script in code page 936, in which single literals may be UTF-8. The
    /// text must outlive this object.
    void SetScript(std::string_view script);

    /// Takes the bytes of a file: UTF-16 by its byte-order mark, UTF-8 by mark or by
    /// guess, else a script as SetScript takes it. False when they look like UTF-8 and
    /// are malformed; `bad` is the place then.
    bool SetFile(std::string bytes, TextPosition* bad);

    /// What the JSON reader gets.
    std::string_view ForReader() const { return m_forReader; }

    /// Every value of the document is UTF-8, whatever it looks like.
    bool IsUnicode() const { return m_isUnicode; }

    /// The text between two offsets of ForReader holds a \u escape beyond ASCII.
    bool HasEscape(std::size_t begin, std::size_t end) const;

    /// The text as it was given, for lines and columns.
    TextLocator Locator() const { return {m_original, m_isUnicode}; }

    /// Where an offset of ForReader is in it.
    std::size_t OffsetInOriginal(std::size_t offset) const;

private:
    /// Behind a literal that was rewritten.
    struct RewriteEnd {
        std::size_t inReader;
        std::size_t inOriginal;
    };

    void Rewrite();

    std::string m_storage;
    std::string m_rewritten;
    std::vector<RewriteEnd> m_rewrites;
    std::string_view m_original;
    std::string_view m_forReader;
    bool m_isUnicode = false;
    bool m_mayHaveEscapes = false;
};

/// Offset of the bracket that opens nesting level `depth` + 1; the text's size when
/// there is none.
std::size_t OffsetBeyondDepth(std::string_view text, std::size_t depth);

} // namespace ymdshow
