#include "Watchdog.h"

#include <windows.h>

#include <utility>

namespace ymds {

namespace {

constexpr DWORD kInterval = 50;

} // namespace

Watchdog::Watchdog() : m_thread([this] { Run(); }) {}

Watchdog::~Watchdog() {
    m_isEnding.store(true);
    m_thread.join();
}

void Watchdog::Expect(unsigned seconds, std::function<void()> onSilence) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_onSilence = std::move(onSilence);
    m_limit.store(seconds * 1000ULL);
    Beat();
}

void Watchdog::Beat() {
    m_lastBeat.store(GetTickCount64());
}

void Watchdog::Run() {
    while (!m_isEnding.load()) {
        Sleep(kInterval);
        const std::lock_guard<std::mutex> guard(m_lock);
        if (m_onSilence && GetTickCount64() - m_lastBeat.load() > m_limit.load()) {
            m_onSilence();
            return;
        }
    }
}

} // namespace ymds
