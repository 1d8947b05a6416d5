#pragma once

#include <windows.h>

#include <array>
#include <mutex>

#include <ymdshow/ymdshow_c.h>

namespace ymdshow::c {

/// The last events of an item. What puts them in may be terminated where it waits, never here.
class EventQueue {
public:
    EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;
    ~EventQueue();

    /// The oldest makes room.
    void Put(const ymd_event& event);

    /// Handles messages that are sent to the thread's windows meanwhile.
    ymd_result Take(ymd_event& event, std::uint32_t milliseconds);

    /// Ends every wait.
    void Close();

private:
    static constexpr std::size_t kLength = 256;

    bool TakeNow(ymd_event& event);

    std::mutex m_mutex;
    HANDLE m_isReady; ///< set while there is something, and once it is closed
    std::array<ymd_event, kLength> m_events{};
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::uint64_t m_lost = 0;
    bool m_isClosed = false;
};

} // namespace ymdshow::c
