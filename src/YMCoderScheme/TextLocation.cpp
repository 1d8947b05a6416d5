#include "YMCoderScheme/TextLocation.h"

#include "Text/Text.h"

#include <algorithm>

namespace ymdshow {

TextLocator::TextLocator(std::string_view text, bool isUtf8) : m_text(text), m_isUtf8(isUtf8) {
    StartLine(0);
}

TextPosition TextLocator::Find(std::size_t offset) {
    while (offset >= m_lineEnd && EndsLine()) {
        StartLine(m_lineEnd);
    }
    while (m_at < std::min(offset, m_lineEnd)) {
        const std::size_t next = NextCharacter();
        if (next > offset) {
            break;
        }
        m_at = next;
        ++m_position.column;
    }
    return m_position;
}

void TextLocator::StartLine(std::size_t begin) {
    const std::size_t end = std::min(m_text.find_first_of("\r\n", begin), m_text.size());
    m_lineEnd = std::min(end + (m_text.substr(end, 2) == "\r\n" ? 2 : 1), m_text.size());
    m_isUtf8Line = m_isUtf8 || text::IsUtf8(m_text.substr(begin, m_lineEnd - begin));
    m_at = begin;
    m_position = {m_position.line + 1, 1};
}

bool TextLocator::EndsLine() const {
    return m_lineEnd > m_at && (m_text[m_lineEnd - 1] == '\n' || m_text[m_lineEnd - 1] == '\r');
}

std::size_t TextLocator::NextCharacter() const {
    std::size_t next = m_at + 1;
    if (!m_isUtf8Line) {
        return text::IsLeadByte(static_cast<unsigned char>(m_text[m_at])) ? next + 1 : next;
    }
    while (next < m_lineEnd && (static_cast<unsigned char>(m_text[next]) & 0xC0) == 0x80) {
        ++next;
    }
    return next;
}

} // namespace ymdshow
