#include "YMCoderScheme/TextLocation.h"

#include "Text/Text.h"

#include <algorithm>

namespace ymdshow {

namespace {

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

bool IsValidUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const bool isAscii = static_cast<unsigned char>(text[at]) < 0x80;
        const std::size_t length = isAscii ? 1 : text::Utf8SequenceLength(text.substr(at, 4));
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

/// Walks one line from character to character.
class LineWalk {
public:
    LineWalk(std::string_view line, bool isUtf8)
        : m_line(line), m_isUtf8(isUtf8 || IsValidUtf8(line)) {}

    /// The column of `offset`, which is not before that of the last call.
    std::size_t ColumnOf(std::size_t offset) {
        while (m_at < offset && m_at < m_line.size()) {
            const std::size_t next = Next();
            if (next > offset) {
                break; // inside a character: the column of that
            }
            m_at = next;
            ++m_column;
        }
        return m_column;
    }

private:
    std::size_t Next() const {
        std::size_t next = m_at + 1;
        if (!m_isUtf8) {
            return text::IsLeadByte(static_cast<unsigned char>(m_line[m_at])) ? next + 1 : next;
        }
        while (next < m_line.size() && IsContinuation(m_line[next])) {
            ++next;
        }
        return next;
    }

    std::string_view m_line;
    bool m_isUtf8;
    std::size_t m_at = 0;
    std::size_t m_column = 1;
};

/// Behind the line end that follows `begin`.
std::size_t NextLine(std::string_view text, std::size_t begin) {
    const std::size_t end = text.find_first_of("\r\n", begin);
    if (end == text.npos) {
        return text.size();
    }
    return end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
}

bool EndsLine(std::string_view line) {
    return !line.empty() && (line.back() == '\n' || line.back() == '\r');
}

} // namespace

std::vector<TextPosition> LocateOffsets(std::string_view text, bool isUtf8,
                                        const std::vector<std::size_t>& offsets) {
    std::vector<TextPosition> positions;
    positions.reserve(offsets.size());
    std::size_t line = 1;
    for (std::size_t begin = 0; positions.size() < offsets.size(); ++line) {
        const std::size_t end = NextLine(text, begin);
        const std::string_view content = text.substr(begin, end - begin);
        const bool isLast = !EndsLine(content);
        if (isLast || offsets[positions.size()] < end) {
            LineWalk walk(content, isUtf8);
            while (positions.size() < offsets.size() &&
                   (isLast || offsets[positions.size()] < end)) {
                const std::size_t offset = std::max(offsets[positions.size()], begin);
                positions.push_back({line, walk.ColumnOf(offset - begin)});
            }
        }
        begin = end;
    }
    return positions;
}

} // namespace ymdshow
