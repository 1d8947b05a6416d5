#pragma once

#include <cstdint>
#include <string>

namespace ymds {

/// The live line below everything else, on the error stream when that is a terminal.
class Progress {
public:
    explicit Progress(bool wanted);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Draws the line, at most ten times a second. A duration of 0 is not known.
    void Show(std::int64_t position, std::int64_t duration, const wchar_t* state);

    /// A short remark that stands at the end of the line for two seconds; without the live
    /// line it is a line of its own.
    void Note(const std::wstring& text);

    /// Removes the line.
    void Clear();

private:
    bool m_isActive;
    unsigned long long m_lastShown = 0;
    unsigned long long m_noteUntil = 0;
    std::wstring m_note;
    std::size_t m_width = 0; ///< of the line that stands on the terminal
};

} // namespace ymds
