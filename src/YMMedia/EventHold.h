#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include <ymdshow/Media.h>

namespace ymdshow {

/// A member that the event thread, which takes no lock, shares with host threads.
inline std::atomic_ref<std::int32_t> Shared(std::int32_t& value) {
    return std::atomic_ref<std::int32_t>(value);
}

/// Waits a few milliseconds for a thread to end, or only waits when it is null, and handles
/// the messages that are sent to this thread meanwhile: a renderer's window belongs to the
/// thread that loaded the item, perhaps this one, and whoever is waited for may just be
/// showing or hiding it. True when the thread has ended.
bool WaitAnswering(HANDLE thread, DWORD milliseconds);

/// Holds an item's lock for an operation and keeps the event thread from its graph: that
/// thread may be sending messages to this one from within the graph manager, which does not
/// let this one in before it is answered. The host's callback is not waited for; it comes
/// back to the graph when the operation is over. No more is needed on the event thread.
class ItemLock {
public:
    explicit ItemLock(const CMedia& media);
    ~ItemLock();
    ItemLock(const ItemLock&) = delete;
    ItemLock& operator=(const ItemLock&) = delete;

private:
    const CMedia& m_media;
};

/// Waits for the host's callback too, so that the event thread can be suspended or ended, and
/// no restart at the end of a loop slips into what a host thread does. Gives up after 200 ms,
/// since the callback may be waiting for the item's lock. For use under an ItemLock.
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
