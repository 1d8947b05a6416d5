#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

#include <ymdshow/ymdshow.h>

namespace ymds {

struct Event {
    long code = 0;
    std::int64_t param1 = 0;
    std::int64_t param2 = 0;
};

/// Carries graph events from the media item's event thread to the main thread. That thread
/// may be suspended or ended at any point, so nothing here locks or allocates on it.
class EventQueue {
public:
    /// The callback for CMedia::SetEventCallBackFun, with the queue as its user pointer.
    static int OnEvent(ymdshow::CMedia* media, void* user, long code, std::int64_t param1,
                       std::int64_t param2);

    bool Take(Event& event);

    /// Events that found the queue full.
    unsigned Lost() const { return m_lost.load(); }

private:
    static constexpr unsigned kCapacity = 1024;
    std::array<Event, kCapacity> m_events{};
    std::atomic<unsigned> m_written{0};
    std::atomic<unsigned> m_taken{0};
    std::atomic<unsigned> m_lost{0};
};

/// The events received, by code, in the order of their first arrival.
struct EventCount {
    long code = 0;
    unsigned count = 0;
};
void Count(std::vector<EventCount>& counts, long code);

} // namespace ymds
