#pragma once

#include <cstddef>
#include <string_view>

namespace ymdshow {

/// A place in a text, both counted from 1; the column in characters.
struct TextPosition {
    std::size_t line = 0;
    std::size_t column = 0;
};

/// Finds lines and columns in one walk through a text. A line ends with CR LF, LF or CR. Text
/// that is not known to be UTF-8 is counted as UTF-8 in lines that are, else in characters of
/// code page 936.
class TextLocator {
public:
    TextLocator(std::string_view text, bool isUtf8);

    /// `offset` is not before that of the last call; inside a character it is that one's.
    TextPosition Find(std::size_t offset);

private:
    void StartLine(std::size_t begin);
    bool EndsLine() const;
    std::size_t NextCharacter() const;

    std::string_view m_text;
    bool m_isUtf8;
    bool m_isUtf8Line = false;
    std::size_t m_at = 0;
    std::size_t m_lineEnd = 0; ///< behind its line end
    TextPosition m_position;
};

} // namespace ymdshow
