#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace ymds {

/// Ends the process when the main thread does not come back from a filter's code: a
/// thread of its own calls the given function, once, when the beats stop for too long.
class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// From now on, more than `seconds` without a beat call `onSilence`, which does not
    /// return.
    void Expect(unsigned seconds, std::function<void()> onSilence);
    void Beat();

private:
    void Run();

    std::mutex m_lock; ///< guards m_onSilence
    std::function<void()> m_onSilence;
    std::atomic<unsigned long long> m_lastBeat{0};
    std::atomic<unsigned long long> m_limit{0};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

} // namespace ymds
