#pragma once

#include <atomic>

#include "YMMedia/Inside.h"

namespace ymdshow {

/// The event thread of a media item, whose handle is the item's m_hEventThread; at most one is
/// alive at a time. It takes no lock of the item's: what it does on the graph it does behind the
/// gate. It gives the gate up in the host's callback, and is suspended only where it holds nothing.
class CMedia::Inside::EventThread {
public:
    explicit EventThread(CMedia::Inside& inside) : m_gate(inside.gate) {}
    ~EventThread() { CloseHandle(m_wake); }
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    // Host threads call these under the item's lock, the first three behind the gate as well.

    /// Starts the thread.
    void Start(CMedia& media);
    /// Sees to it that what is played anew has a live, running thread.
    void Resume(CMedia& media);
    /// Holds the thread where it rests, or when the host's callback returns.
    void Suspend(CMedia& media);
    /// Waits until the thread has left by itself, and terminates it 500 ms after `begin` (of
    /// GetTickCount64). On the thread itself the handle stays, for others to wait for. The
    /// item may be gone afterwards.
    void End(CMedia& media, ULONGLONG begin);
    /// Gives the item's event queue back; one whose event the host's callback still has when that
    /// is over.
    void GiveUpQueue(CMedia& media);

    /// On the thread itself: in the host's callback.
    bool IsCurrent() const { return m_id == GetCurrentThreadId(); }

    /// It has the gate, and may be waiting for the answer to a message.
    bool IsInGraph() const { return m_place == Place::InGraph; }

    /// What the thread does.
    void Run(CMedia& media);

private:
    enum class Place { Outside, Starting, Resting, Waiting, InGraph, InCallback, Left };

    bool Rest(HANDLE queue);
    void Drain(CMedia& media);
    bool HandleEnd(CMedia& media, long code);
    void Forward(CMedia& media, long code, LONG_PTR param1, LONG_PTR param2);

    ymlib::CLock& m_gate;
    const HANDLE m_wake = CreateEventW(nullptr, FALSE, FALSE, nullptr); ///< ends a rest
    std::atomic<DWORD> m_id{0};
    std::atomic<Place> m_place{Place::Outside};
    std::atomic<bool> m_mustLeave{false};
    std::atomic<bool> m_isFinished{false};
    std::atomic<unsigned> m_queues{0}; ///< the queues that were given up
    unsigned m_ends = 0;               ///< the threads that have ended
    ComPtr<IMediaEventEx> m_parting;   ///< given up in the host's callback
};

} // namespace ymdshow
