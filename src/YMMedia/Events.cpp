#include <algorithm>

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventHold.h"
#include "YMMedia/Support.h"

namespace ymdshow {

namespace {

constexpr DWORD kEventWait = 100;     // ms between looks at the play state
constexpr DWORD kThreadEndWait = 500; // ms until an event thread is terminated
constexpr DWORD kHoldWait = 200;      // ms until a callback is waited for no longer
constexpr DWORD kWorkWait = 5000;     // ms until a call of the graph's counts as hanging
constexpr DWORD kThreadCallFailed = static_cast<DWORD>(-1);

/// Of EventThreadState::busy.
enum Busy : std::int32_t { kAtRest, kWorking, kLeaving, kInCallback };

/// Resumes a thread until it runs. False when that fails.
bool ResumeFully(HANDLE thread) {
    DWORD suspended = 0;
    do {
        suspended = ResumeThread(thread);
    } while (suspended != 0 && suspended != kThreadCallFailed);
    return suspended == 0;
}

} // namespace

bool WaitAnswering(HANDLE thread, DWORD milliseconds) {
    const DWORD threads = thread != nullptr ? 1 : 0;
    const DWORD woke =
        MsgWaitForMultipleObjects(threads, &thread, FALSE, milliseconds, QS_SENDMESSAGE);
    if (woke == WAIT_OBJECT_0 + threads) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
        return false;
    }
    return woke != WAIT_TIMEOUT; // a failure ends the wait too
}

void CMedia::SetEventCallBackFun(EventCallBack fn, void* user) {
    const ItemLock lock(*this);
    {
        // The thread reads the two as a pair: it finds the old one, none, or the new one.
        const EventHold hold(*this);
        std::atomic_ref<EventCallBack>(m_pEventCallBack).store(nullptr);
        std::atomic_ref<void*>(m_pEventCallBackUser).store(user);
        std::atomic_ref<EventCallBack>(m_pEventCallBack).store(fn);
    }
    if (fn != nullptr && m_playState == State_Running && m_hEventThread == nullptr &&
        m_pMediaEvent != nullptr) {
        CreateEventThread();
    }
}

void CMedia::SetAddFilterCallBack(AddFilterCallBack fn, void* user) {
    m_pAddFilterCallBack = fn;
    m_pAddFilterCallBackUser = user;
}

void CMedia::CreateEventThread() {
    Shared(m_eventThread.quit).store(0);
    Shared(m_eventThread.stay).store(0);
    Shared(m_eventThread.restarting).store(0);
    m_eventThread.suspended = 0;
    // Until it has entered its loop, and again while it leaves, it must not be suspended.
    Shared(m_eventThread.busy).store(kWorking);
    m_hEventThread = CreateThread(nullptr, 0, _EventThreadFun, this, 0, nullptr);
}

/// Makes sure that a live, running event thread exists.
void CMedia::WakeEventThread() {
    if (OnEventThread()) {
        Shared(m_eventThread.quit).store(0);
        Shared(m_eventThread.stay).store(1);
        return;
    }
    if (m_hEventThread != nullptr && Shared(m_eventThread.quit).load() != 0) {
        EndEventThread(); // stopped by its own callback, it may still be leaving
    }
    if (m_hEventThread == nullptr) {
        CreateEventThread();
        return;
    }
    DWORD code = 0;
    if (GetExitCodeThread(m_hEventThread, &code) == FALSE) {
        return;
    }
    if (code != STILL_ACTIVE) {
        CloseHandle(m_hEventThread);
        m_hEventThread = nullptr;
        CreateEventThread();
        return;
    }
    Shared(m_eventThread.stay).store(1);
    if (Shared(m_eventThread.busy).load() == kLeaving &&
        Shared(m_eventThread.stay).exchange(0) != 0) {
        EndEventThread(); // it has not seen that it is wanted again
        CreateEventThread();
        return;
    }
    m_eventThread.suspended = 0;
    if (!ResumeFully(m_hEventThread)) {
        // Kept: the resume path logs the same text as Pause.
        YMD_LOG_ERROR("ymdshow::CMedia::Play", "Suspend Event Thread Failed, Error Code %d : %s",
                      static_cast<int>(GetLastError()), m_mediaPath.c_str());
    }
}

/// Lets the event thread leave by itself, and terminates it when it does not in time; the
/// caller may have waited for it already. A suspended thread is resumed first: terminated
/// where it stands it could take a lock with it. On the event thread itself the handle stays,
/// for others to join.
void CMedia::EndEventThread(DWORD waited) {
    if (m_hEventThread == nullptr) {
        return;
    }
    Shared(m_eventThread.quit).store(1);
    if (OnEventThread()) {
        return;
    }
    DWORD code = 0;
    if (GetExitCodeThread(m_hEventThread, &code) != FALSE && code == STILL_ACTIVE) {
        ResumeFully(m_hEventThread);
        const ULONGLONG start = GetTickCount64();
        const ULONGLONG patience = kThreadEndWait - std::min(waited, kThreadEndWait);
        while (!WaitAnswering(m_hEventThread, 10)) {
            const bool isWorking = Shared(m_eventThread.busy).load() == kWorking;
            if (GetTickCount64() - start >= (isWorking ? kWorkWait : patience)) {
                TerminateThread(m_hEventThread, 0);
                // It ends some time after the call; the interfaces that it uses go next.
                WaitForSingleObject(m_hEventThread, kThreadEndWait);
                break;
            }
        }
    }
    CloseHandle(m_hEventThread);
    m_hEventThread = nullptr;
}

/// True in the host's event callback.
bool CMedia::OnEventThread() const {
    return m_hEventThread != nullptr && GetThreadId(m_hEventThread) == GetCurrentThreadId();
}

bool CMedia::HasVisibleVideo() {
    return m_pVideoWindow != nullptr && std::atomic_ref<HWND>(m_playWindow).load() != nullptr &&
           m_videoTrackNum > 0;
}

DWORD WINAPI CMedia::_EventThreadFun(void* param) {
    if (param == nullptr) {
        return 1;
    }
    CMedia& media = *static_cast<CMedia*>(param);
    if (media.m_pMediaEvent == nullptr) {
        return 0;
    }
    EventThreadState& state = media.m_eventThread;
    std::int32_t graph = Shared(state.graph).load() - 1;
    OAEVENT queue = 0;
    while (!media.EventThreadMustLeave()) {
        if (const std::int32_t now = Shared(state.graph).load(); graph != now) {
            graph = now; // at first, and when a callback has loaded the item anew
            queue = 0;
            if (media.m_pMediaEvent != nullptr) {
                media.m_pMediaEvent->GetEventHandle(&queue);
            }
        }
        Shared(state.busy).store(kAtRest);
        const DWORD wait = WaitForSingleObject(reinterpret_cast<HANDLE>(queue), kEventWait);
        if (wait == WAIT_OBJECT_0 && media.EnterEvents(State_Running)) {
            if (media.DrainEvents() && media.LeavesAfterCompletion()) {
                return 0;
            }
        } else if (wait != WAIT_OBJECT_0 && wait != WAIT_TIMEOUT) {
            Sleep(kEventWait);
        }
    }
    Shared(state.busy).store(kLeaving);
    return 0;
}

bool CMedia::EventThreadMustLeave() {
    return Shared(m_playState).load() == State_Stopped || Shared(m_eventThread.quit).load() != 0;
}

/// Not when playback was started anew since the completion.
bool CMedia::LeavesAfterCompletion() {
    Shared(m_eventThread.busy).store(kLeaving);
    return Shared(m_eventThread.stay).exchange(0) == 0;
}

/// Goes to work when no operation holds the event thread and the item's state is at least
/// this one: what a callback has paused rests. False, and at work, when it is to leave.
bool CMedia::EnterEvents(std::int32_t least) {
    for (int tries = 0;; ++tries) {
        Shared(m_eventThread.busy).store(kWorking);
        if (EventThreadMustLeave()) {
            return false;
        }
        const bool isHeld = Shared(m_eventThread.holds).load() != 0;
        if (!isHeld && Shared(m_playState).load() >= least) {
            return true;
        }
        Shared(m_eventThread.busy).store(kAtRest);
        // A host that asks for the position all the time leaves short gaps.
        if (!isHeld || tries % 100 == 0) {
            Sleep(isHeld ? 1 : 10);
        } else {
            SwitchToThread();
        }
    }
}

/// Waits until the event thread is at rest, in the host's callback, or gone.
void CMedia::AwaitEventThread() const {
    if (m_hEventThread == nullptr || m_eventThread.suspended != 0 || OnEventThread()) {
        return;
    }
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        const std::int32_t busy = Shared(m_eventThread.busy).load();
        if (busy == kAtRest || busy == kInCallback || GetTickCount64() - start >= kWorkWait ||
            WaitAnswering(m_hEventThread, 1)) {
            return;
        }
    }
}

ItemLock::ItemLock(const CMedia& media) : m_media(media) {
    for (int tries = 1; !media.m_lock.TryLock(); ++tries) {
        if (tries % 50 != 0) {
            SwitchToThread();
        } else if (media.OnEventThread()) {
            // Has no windows, and may be terminated here: not while it stands in the lock's
            // queue, which would keep its place.
            Sleep(1);
        } else {
            WaitAnswering(nullptr, 1);
        }
    }
    if (Shared(media.m_eventThread.holds).fetch_add(1) == 0) {
        media.AwaitEventThread();
    }
}

ItemLock::~ItemLock() {
    Shared(m_media.m_eventThread.holds).fetch_sub(1);
    m_media.m_lock.Unlock();
}

EventHold::EventHold(CMedia& media) : m_media(media) {
    auto& state = media.m_eventThread;
    if (state.waiting++ != 0 || media.m_hEventThread == nullptr || state.suspended != 0 ||
        media.OnEventThread()) {
        return;
    }
    const ULONGLONG start = GetTickCount64();
    while (Shared(state.busy).load() == kInCallback) {
        if (GetTickCount64() - start >= kHoldWait) {
            m_waited = kHoldWait;
            return;
        }
        if (WaitAnswering(media.m_hEventThread, 1)) {
            return;
        }
    }
    media.AwaitEventThread(); // out of the callback, on its way to rest
}

EventHold::~EventHold() {
    --m_media.m_eventThread.waiting;
}

/// Handles and forwards the queued events. Whether the last one has ended playback.
bool CMedia::DrainEvents() {
    IMediaEventEx* const events = m_pMediaEvent;
    const std::int32_t graph = Shared(m_eventThread.graph).load();
    const auto isCurrent = [&] { return graph == Shared(m_eventThread.graph).load(); };
    long code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    bool finished = false;
    while (isCurrent() && Shared(m_playState).load() == State_Running &&
           Shared(m_eventThread.quit).load() == 0 &&
           SUCCEEDED(events->GetEvent(&code, &param1, &param2, 0))) {
        finished = code == EC_COMPLETE || code == EC_END_OF_SEGMENT;
        if (finished) {
            Shared(m_eventThread.stay).store(0);
            finished = !HandleCompletion();
        }
        ForwardEvent(code, param1, param2);
        if (isCurrent()) { // else the callback has unloaded the item
            events->FreeEventParams(code, param1, param2);
        }
    }
    return finished;
}

/// Restarts a looping graph and answers true; else hides the picture.
bool CMedia::HandleCompletion() {
    const bool looping = Shared(m_isLoop).load() != 0;
    if (looping && m_pMediaControl != nullptr) {
        // On the graph itself: the item stays in its running state. A host thread that is
        // waiting gets its turn in between, and may have paused or stopped the item then.
        Shared(m_eventThread.restarting).store(1);
        m_pMediaControl->Stop();
        if (EnterEvents(State_Running)) {
            m_pMediaControl->Run();
        }
        Shared(m_eventThread.restarting).store(0);
        return true;
    }
    if (!looping && HasVisibleVideo()) {
        m_pVideoWindow->put_Visible(OAFALSE);
    }
    return false;
}

void CMedia::ForwardEvent(long code, LONG_PTR param1, LONG_PTR param2) {
    std::atomic_ref<EventCallBack> shared(m_pEventCallBack);
    EventCallBack fn = shared.load();
    void* const user = std::atomic_ref<void*>(m_pEventCallBackUser).load();
    if (fn != nullptr && fn == shared.load()) {
        Shared(m_eventThread.busy).store(kInCallback);
        fn(this, user, code, param1, param2);
        EnterEvents(State_Paused);
    }
}

void CMedia::EnumMediaFilter(void (*fn)(IBaseFilter*, void*), void* user, int all) {
    const ItemLock lock(*this);
    if (m_pGB == nullptr || fn == nullptr) {
        return;
    }
    for (const ComPtr<IBaseFilter>& filter : toolkit::Filters(m_pGB)) {
        if (all != 0 || IsFilterLinked(filter.Get()) != 0) {
            fn(filter.Get(), user);
        }
    }
}

void* CMedia::FindInterfaceInGraphFilters(const GUID& iid, int flag) {
    const ItemLock lock(*this);
    if (m_pGB == nullptr) {
        return nullptr;
    }
    return OrWhenOutOfMemory(static_cast<void*>(nullptr), [&]() -> void* {
        std::size_t filters = 0;
        for ([[maybe_unused]] const ComPtr<IBaseFilter>& filter : toolkit::Filters(m_pGB)) {
            ++filters;
        }
        // The search writes one entry for every match, whatever the capacity it is told.
        std::vector<void*> found(filters + 1, nullptr);
        ::FindInterfaceInGraphFilters(m_pGB, iid, found.data(), 1, flag, 1);
        for (std::size_t i = 1; i < found.size(); ++i) {
            if (found[i] != nullptr) {
                static_cast<IUnknown*>(found[i])->Release();
            }
        }
        return found.front();
    });
}

} // namespace ymdshow
