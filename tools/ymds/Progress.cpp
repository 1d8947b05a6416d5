#include "Progress.h"

#include <windows.h>

#include <algorithm>

#include "Console.h"
#include "Text.h"

namespace ymds {

namespace {

constexpr unsigned long long kInterval = 100;
constexpr unsigned long long kNoteTime = 2000;

std::wstring Bar(std::int64_t position, std::int64_t duration, int cells) {
    const std::int64_t at = std::clamp<std::int64_t>(position, 0, duration);
    const auto filled = static_cast<std::size_t>(at * cells / duration);
    std::wstring bar(filled, L'=');
    if (filled < static_cast<std::size_t>(cells)) {
        bar += L'>';
    }
    bar.resize(static_cast<std::size_t>(cells), L' ');
    return L"[" + bar + L"] ";
}

} // namespace

Progress::Progress(bool wanted) : m_isActive(wanted && Err().IsTerminal()) {}

Progress::~Progress() {
    Clear();
}

void Progress::Show(std::int64_t position, std::int64_t duration, const wchar_t* state) {
    const unsigned long long now = GetTickCount64();
    if (!m_isActive || now - m_lastShown < kInterval) {
        return;
    }
    m_lastShown = now;
    const int columns = Err().Columns();
    std::wstring line;
    if (duration > 0) {
        line = Bar(position, duration, std::clamp(columns - 45, 10, 40));
    }
    line += Clock(position);
    if (duration > 0) {
        line += L" / " + Clock(duration);
    }
    line += L"  ";
    line += state;
    if (now < m_noteUntil) {
        line += L"  " + m_note;
    }
    // A line of the terminal's full width would wrap.
    line.resize(std::min(line.size(), static_cast<std::size_t>(columns - 1)));
    const std::size_t shown = line.size();
    line.resize(std::max(shown, m_width), L' ');
    m_width = shown;
    Err().Write(L"\r" + line);
}

void Progress::Note(const std::wstring& text) {
    if (!m_isActive) {
        Err().Write(text + L"\n");
        return;
    }
    m_note = text;
    m_noteUntil = GetTickCount64() + kNoteTime;
    m_lastShown = 0;
}

void Progress::Clear() {
    if (m_isActive && m_width > 0) {
        Err().Write(L"\r" + std::wstring(m_width, L' ') + L"\r");
        m_width = 0;
    }
}

} // namespace ymds
