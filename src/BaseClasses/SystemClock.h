#pragma once

#include <windows.h>

#include <dshow.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "BaseClasses/AdviseScheduler.h"
#include "BaseClasses/ComObject.h"
#include "BaseClasses/ServerCounts.h"

namespace ymdshow {

/// A reference clock on the system's performance counter. Its time counts from the
/// system's start, in 100 ns units, and never goes back. All threads may use it.
class SystemClock final : public ComObject<IReferenceClock> {
public:
    /// For a class factory. `outer` must be null: the class does not aggregate.
    static HRESULT Create(IUnknown* outer, REFIID iid, void** out);

    /// S_FALSE when the time is the one that was answered before.
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* time) override;

    /// E_POINTER for a null `cookie`; E_INVALIDARG for a null event and for a sum that is
    /// not above 0 or does not fit. A time that is past fires at once.
    HRESULT STDMETHODCALLTYPE AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime,
                                         HEVENT event, DWORD_PTR* cookie) override;

    /// E_POINTER for a null `cookie`; E_INVALIDARG for a null semaphore and for a start or
    /// a period that is not above 0.
    HRESULT STDMETHODCALLTYPE AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                                             HSEMAPHORE semaphore, DWORD_PTR* cookie) override;

    /// S_FALSE for a cookie that is unknown, was unadvised, or has fired for good.
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD_PTR cookie) override;

private:
    SystemClock();
    ~SystemClock() override;

    template <class Add> HRESULT Advise(DWORD_PTR* cookie, Add add);
    void StartAdviser();
    void RunAdviser();

    const ServerObject m_serverObject;
    std::atomic<REFERENCE_TIME> m_lastTime{0};
    AdviseScheduler m_scheduler;

    // The adviser waits for either: the timer of the next due time, or news (an advise
    // that falls due earlier, or the end).
    HANDLE m_news = nullptr;
    HANDLE m_timer = nullptr;
    bool m_isTimerCoarse = false;
    std::atomic<bool> m_isStopping{false};
    std::mutex m_startMutex;
    std::thread m_adviser;
};

} // namespace ymdshow
