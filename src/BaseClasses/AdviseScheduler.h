#pragma once

#include <windows.h>

#include <dshow.h>

#include <limits>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace ymdshow {

/// The advises of a clock, in the order they fall due; those due at the same time in the
/// order they were made. Knows no clock and no thread: its user says what time it is.
/// Thread-safe. The handles stay the caller's and must live until cancelled or fired.
class AdviseScheduler {
public:
    using Cookie = DWORD_PTR; ///< never 0, never used twice
    static constexpr REFERENCE_TIME kNever = std::numeric_limits<REFERENCE_TIME>::max();

    struct Added {
        Cookie cookie;
        bool isFirst; ///< nothing falls due before it: whoever sleeps must look again
    };

    /// Sets `event` once at `due`. Throws std::bad_alloc.
    Added AddOneShot(REFERENCE_TIME due, HANDLE event);

    /// Releases `semaphore` by one at `due` and then at each `period`, which is above 0.
    /// Throws std::bad_alloc.
    Added AddPeriodic(REFERENCE_TIME due, REFERENCE_TIME period, HANDLE semaphore);

    /// False when the advise is unknown, cancelled or a one-shot that has fired. After it
    /// returns the advise's handle is not touched any more.
    bool Cancel(Cookie cookie);

    /// Fires all that is due at `now`, every missed period of a periodic advise included,
    /// and answers when the next advise falls due, kNever without any.
    REFERENCE_TIME Advance(REFERENCE_TIME now);

private:
    struct Advise {
        HANDLE handle;
        REFERENCE_TIME period; // 0: one-shot
    };
    using Key = std::pair<REFERENCE_TIME, Cookie>;

    Added Add(REFERENCE_TIME due, const Advise& advise);

    // Handles are signalled while it is held, which is what makes Cancel final.
    std::mutex m_mutex;
    std::map<Key, Advise> m_queue;
    std::unordered_map<Cookie, REFERENCE_TIME> m_dues;
    Cookie m_lastCookie = 0;
};

} // namespace ymdshow
