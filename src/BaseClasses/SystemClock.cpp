#include "BaseClasses/SystemClock.h"

#include <mmsystem.h>

#include <algorithm>
#include <new>
#include <system_error>

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
#define CREATE_WAITABLE_TIMER_HIGH_RESOLUTION 0x00000002
#endif

namespace ymdshow {
namespace {

constexpr REFERENCE_TIME kUnitsPerSecond = 10'000'000;

REFERENCE_TIME ReadCounter() {
    static const LONGLONG frequency = [] {
        LARGE_INTEGER value;
        QueryPerformanceFrequency(&value);
        return value.QuadPart;
    }();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    // Whole seconds apart, so that the product does not overflow after weeks of uptime.
    return counter.QuadPart / frequency * kUnitsPerSecond +
           counter.QuadPart % frequency * kUnitsPerSecond / frequency;
}

} // namespace

HRESULT SystemClock::Create(IUnknown* outer, REFIID iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    auto* const clock = new (std::nothrow) SystemClock;
    if (clock == nullptr) {
        return E_OUTOFMEMORY;
    }
    const bool isComplete = clock->m_news != nullptr && clock->m_timer != nullptr;
    const HRESULT hr = isComplete ? clock->QueryInterface(iid, out) : E_OUTOFMEMORY;
    clock->Release();
    return hr;
}

SystemClock::SystemClock() {
    m_news = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    m_timer = CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION,
                                     TIMER_ALL_ACCESS);
    if (m_timer == nullptr) {
        // Systems before Windows 10 1803: the timer is as fine as the system's tick.
        m_isTimerCoarse = true;
        m_timer = CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
    }
}

SystemClock::~SystemClock() {
    // The adviser runs no foreign code, so that the last release is never its own.
    if (m_adviser.joinable()) {
        m_isStopping.store(true);
        SetEvent(m_news);
        m_adviser.join();
    }
    for (const HANDLE handle : {m_news, m_timer}) {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
    }
}

HRESULT SystemClock::GetTime(REFERENCE_TIME* time) {
    if (time == nullptr) {
        return E_POINTER;
    }
    const REFERENCE_TIME now = ReadCounter();
    REFERENCE_TIME last = m_lastTime.load();
    while (now > last) {
        if (m_lastTime.compare_exchange_weak(last, now)) {
            *time = now;
            return S_OK;
        }
    }
    *time = last;
    return S_FALSE;
}

HRESULT SystemClock::AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                                DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    *cookie = 0;
    const bool isTooLate = streamTime >= 0 && baseTime >= AdviseScheduler::kNever - streamTime;
    const bool isTooEarly = baseTime <= 0 && streamTime <= 0;
    if (event == 0 || isTooLate || isTooEarly || baseTime + streamTime <= 0) {
        return E_INVALIDARG;
    }
    return Advise(cookie, [&] {
        return m_scheduler.AddOneShot(baseTime + streamTime, reinterpret_cast<HANDLE>(event));
    });
}

HRESULT SystemClock::AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                                    HSEMAPHORE semaphore, DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    *cookie = 0;
    if (semaphore == 0 || startTime <= 0 || startTime == AdviseScheduler::kNever ||
        periodTime <= 0) {
        return E_INVALIDARG;
    }
    return Advise(cookie, [&] {
        return m_scheduler.AddPeriodic(startTime, periodTime, reinterpret_cast<HANDLE>(semaphore));
    });
}

HRESULT SystemClock::Unadvise(DWORD_PTR cookie) {
    return m_scheduler.Cancel(cookie) ? S_OK : S_FALSE;
}

template <class Add> HRESULT SystemClock::Advise(DWORD_PTR* cookie, Add add) {
    try {
        StartAdviser();
        const AdviseScheduler::Added added = add();
        *cookie = added.cookie;
        if (added.isFirst) {
            SetEvent(m_news);
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::system_error&) {
        return E_OUTOFMEMORY;
    }
}

void SystemClock::StartAdviser() {
    const std::lock_guard lock(m_startMutex);
    if (!m_adviser.joinable()) {
        m_adviser = std::thread([this] { RunAdviser(); });
    }
}

void SystemClock::RunAdviser() {
    if (m_isTimerCoarse) {
        timeBeginPeriod(1);
    }
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
    const HANDLE waited[] = {m_news, m_timer};
    while (!m_isStopping.load()) {
        const REFERENCE_TIME nextDue = m_scheduler.Advance(ReadCounter());
        DWORD handles = 1;
        if (nextDue != AdviseScheduler::kNever) {
            LARGE_INTEGER remaining;
            remaining.QuadPart = -std::max<REFERENCE_TIME>(nextDue - ReadCounter(), 0);
            SetWaitableTimer(m_timer, &remaining, 0, nullptr, nullptr, FALSE);
            handles = 2;
        }
        WaitForMultipleObjects(handles, waited, FALSE, INFINITE);
    }
    if (m_isTimerCoarse) {
        timeEndPeriod(1);
    }
}

} // namespace ymdshow
