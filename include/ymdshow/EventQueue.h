#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace ymdshow {

class CMedia;

/// A graph event, as the event callback gets it.
struct Event {
    long code = 0;
    std::int64_t param1 = 0;
    std::int64_t param2 = 0;
};

/// Carries an item's events from its event thread to one thread of the host's. The event thread may
/// be held or ended at any point, so nothing here locks or allocates on it:
///
///     media.SetEventCallBackFun(ymdshow::EventQueue::OnEvent, &queue);
///
/// The queue outlives that.
class EventQueue {
public:
    /// The callback, with the queue as its user pointer.
    static int OnEvent(CMedia*, void* user, long code, std::int64_t param1, std::int64_t param2) {
        auto* const queue = static_cast<EventQueue*>(user);
        const unsigned written = queue->m_written.load(std::memory_order_relaxed);
        if (written - queue->m_taken.load(std::memory_order_acquire) >= kCapacity) {
            queue->m_lost.fetch_add(1);
            return 0;
        }
        queue->m_events[written % kCapacity] = {code, param1, param2};
        queue->m_written.store(written + 1, std::memory_order_release);
        return 0;
    }

    /// The oldest event that was not taken; false when there is none.
    bool Take(Event& event) {
        const unsigned taken = m_taken.load(std::memory_order_relaxed);
        if (taken == m_written.load(std::memory_order_acquire)) {
            return false;
        }
        event = m_events[taken % kCapacity];
        m_taken.store(taken + 1, std::memory_order_release);
        return true;
    }

    /// Events that found the queue full.
    unsigned Lost() const { return m_lost.load(); }

private:
    static constexpr unsigned kCapacity = 1024;
    std::array<Event, kCapacity> m_events{};
    std::atomic<unsigned> m_written{0};
    std::atomic<unsigned> m_taken{0};
    std::atomic<unsigned> m_lost{0};
};

} // namespace ymdshow
