#include "Console.h"

#include <atomic>
#include <string>

#include <ymdshow/Text.h>

namespace ymds {

namespace {

std::atomic<bool> g_interrupted{false};

BOOL WINAPI OnControl(DWORD) {
    return g_interrupted.exchange(true) ? FALSE : TRUE;
}

} // namespace

Output::Output(DWORD standardHandle) : m_handle(GetStdHandle(standardHandle)) {
    DWORD mode = 0;
    m_isTerminal = GetConsoleMode(m_handle, &mode) != FALSE;
}

int Output::Columns() const {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!m_isTerminal || GetConsoleScreenBufferInfo(m_handle, &info) == FALSE ||
        info.dwSize.X < 2) {
        return 80;
    }
    return info.dwSize.X;
}

void Output::Write(std::wstring_view text) const {
    DWORD written = 0;
    if (m_isTerminal) {
        WriteConsoleW(m_handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string bytes = ymdshow::WideToUtf8(std::wstring(text));
    for (std::size_t at = 0; at < bytes.size(); at += written) {
        written = 0;
        if (WriteFile(m_handle, bytes.data() + at, static_cast<DWORD>(bytes.size() - at), &written,
                      nullptr) == FALSE ||
            written == 0) {
            return;
        }
    }
}

Output& Out() {
    static Output output(STD_OUTPUT_HANDLE);
    return output;
}

Output& Err() {
    static Output output(STD_ERROR_HANDLE);
    return output;
}

void Complain(std::wstring_view text) {
    Err().Write(L"ymds: " + std::wstring(text) + L"\n");
}

Keyboard::Keyboard() {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (GetConsoleMode(input, &m_mode) != FALSE &&
        SetConsoleMode(input, ENABLE_PROCESSED_INPUT) != FALSE) {
        m_handle = input;
    }
}

Keyboard::~Keyboard() {
    if (m_handle != nullptr) {
        SetConsoleMode(m_handle, m_mode);
    }
}

void Keyboard::Read(std::vector<Action>& actions) const {
    INPUT_RECORD record{};
    DWORD count = 0;
    // Peeking, unlike counting the events, makes a console on a Unix terminal read it.
    while (m_handle != nullptr && PeekConsoleInputW(m_handle, &record, 1, &count) != FALSE &&
           count > 0) {
        ReadConsoleInputW(m_handle, &record, 1, &count);
        if (record.EventType != KEY_EVENT || record.Event.KeyEvent.bKeyDown == FALSE) {
            continue;
        }
        const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
        if (const auto action = ActionOfKey(key.wVirtualKeyCode, key.uChar.UnicodeChar)) {
            actions.push_back(*action);
        }
    }
}

void WatchInterrupt() {
    SetConsoleCtrlHandler(OnControl, TRUE);
}

bool Interrupted() {
    return g_interrupted.load();
}

bool RunsUnderWine() {
    static const bool wine =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

} // namespace ymds
