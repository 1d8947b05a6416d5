#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "Keys.h"

namespace ymds {

/// One of the standard output streams. A terminal gets Unicode text as such, anything
/// else gets UTF-8.
class Output {
public:
    explicit Output(DWORD standardHandle);
    bool IsTerminal() const { return m_isTerminal; }

    /// Width of the terminal in characters; 80 when it is not known.
    int Columns() const;
    void Write(std::wstring_view text) const;

private:
    HANDLE m_handle;
    bool m_isTerminal;
};

Output& Out();
Output& Err();

/// "ymds: " and the text on the error stream.
void Complain(std::wstring_view text);

/// Reads keys from the terminal while it lives; does nothing when standard input is none.
class Keyboard {
public:
    Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;
    ~Keyboard();

    void Read(std::vector<Action>& actions) const;

private:
    HANDLE m_handle = nullptr;
    DWORD m_mode = 0;
};

/// Turns the first Ctrl-C into a question that the main loop asks; the second one ends
/// the process.
void WatchInterrupt();
bool Interrupted();

/// True in a process that Wine runs; some of its filters need a gentler hand.
bool RunsUnderWine();

} // namespace ymds
