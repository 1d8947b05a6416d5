#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace ymdshow {

class CMedia;

/// A member that the event thread, which takes no lock, shares with host threads.
inline std::atomic_ref<std::int32_t> Shared(std::int32_t& value) {
    return std::atomic_ref<std::int32_t>(value);
}

/// Keeps the event thread between two batches of events while a host thread changes the
/// graph, so that a restart at the end of a loop cannot slip in and the thread is never
/// suspended inside a call of the graph's. Gives up when the host's callback takes more than
/// 200 ms, since it may be waiting for the item's lock. Does nothing on the event thread.
class EventHold {
public:
    explicit EventHold(CMedia& media);
    ~EventHold();
    EventHold(const EventHold&) = delete;
    EventHold& operator=(const EventHold&) = delete;

    /// Milliseconds that a callback was waited for in vain.
    DWORD Waited() const { return m_waited; }

private:
    CMedia& m_media;
    DWORD m_waited = 0;
};

} // namespace ymdshow
