#include "CInterface/EventQueue.h"

#include <new>

#include <ymlib/Lock.h>

namespace ymdshow::c {

EventQueue::EventQueue() : m_isReady(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (m_isReady == nullptr) {
        throw std::bad_alloc();
    }
}

EventQueue::~EventQueue() {
    CloseHandle(m_isReady);
}

void EventQueue::Put(const ymd_event& event) {
    const std::lock_guard lock(m_mutex);
    if (m_count == kLength) {
        m_first = (m_first + 1) % kLength;
        --m_count;
        ++m_lost;
    }
    m_events[(m_first + m_count++) % kLength] = event;
    SetEvent(m_isReady);
}

bool EventQueue::TakeNow(ymd_event& event) {
    if (m_count == 0) {
        return false;
    }
    event = m_events[m_first];
    event.lost = m_lost;
    m_lost = 0;
    m_first = (m_first + 1) % kLength;
    if (--m_count == 0 && !m_isClosed) {
        ResetEvent(m_isReady);
    }
    return true;
}

ymd_result EventQueue::Take(ymd_event& event, std::uint32_t milliseconds) {
    const ULONGLONG begin = GetTickCount64();
    for (;;) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_isClosed) {
                return YMD_ERROR_HANDLE;
            }
            if (TakeNow(event)) {
                return YMD_OK;
            }
        }
        const ULONGLONG waited = GetTickCount64() - begin;
        if (milliseconds != INFINITE && waited >= milliseconds) {
            return YMD_ERROR_TIMEOUT;
        }
        ymlib::WaitAnswering(m_isReady, milliseconds == INFINITE
                                            ? INFINITE
                                            : static_cast<DWORD>(milliseconds - waited));
    }
}

void EventQueue::Close() {
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    SetEvent(m_isReady);
}

} // namespace ymdshow::c
