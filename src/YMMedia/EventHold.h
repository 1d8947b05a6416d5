#pragma once

#include <cstdint>

namespace ymdshow {

class CMedia;

/// Keeps the event thread between two batches of events while a host thread changes the
/// graph, so that a restart at the end of a loop cannot slip in and the thread is never
/// suspended inside a lock. Gives up waiting after 200 ms, since the host's callback may
/// itself be waiting for the item's lock. Does nothing on the event thread.
class EventHold {
public:
    explicit EventHold(CMedia& media);
    ~EventHold();
    EventHold(const EventHold&) = delete;
    EventHold& operator=(const EventHold&) = delete;

private:
    CMedia& m_media;
};

} // namespace ymdshow
