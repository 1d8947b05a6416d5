#include "Events.h"

#include <algorithm>

namespace ymds {

int EventQueue::OnEvent(ymdshow::CMedia*, void* user, long code, std::int64_t param1,
                        std::int64_t param2) {
    auto* queue = static_cast<EventQueue*>(user);
    const unsigned written = queue->m_written.load(std::memory_order_relaxed);
    if (written - queue->m_taken.load(std::memory_order_acquire) >= kCapacity) {
        queue->m_lost.fetch_add(1);
        return 0;
    }
    queue->m_events[written % kCapacity] = {code, param1, param2};
    queue->m_written.store(written + 1, std::memory_order_release);
    return 0;
}

bool EventQueue::Take(Event& event) {
    const unsigned taken = m_taken.load(std::memory_order_relaxed);
    if (taken == m_written.load(std::memory_order_acquire)) {
        return false;
    }
    event = m_events[taken % kCapacity];
    m_taken.store(taken + 1, std::memory_order_release);
    return true;
}

void Count(std::vector<EventCount>& counts, long code) {
    const auto known = std::find_if(counts.begin(), counts.end(),
                                    [&](const EventCount& c) { return c.code == code; });
    if (known == counts.end()) {
        counts.push_back({code, 1});
    } else {
        ++known->count;
    }
}

} // namespace ymds
