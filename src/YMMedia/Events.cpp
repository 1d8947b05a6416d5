#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventHold.h"
#include "YMMedia/Support.h"

namespace ymdshow {

using ymlib::CYMAutoLock;

namespace {

constexpr DWORD kEventWait = 100;     // ms between looks at the play state
constexpr DWORD kThreadEndWait = 500; // ms until an event thread is terminated
constexpr ULONGLONG kHoldWait = 200;  // ms until a busy event thread is held no longer
constexpr std::int32_t kLeaving = 2;  // of EventThreadState::busy
constexpr DWORD kThreadCallFailed = static_cast<DWORD>(-1);

/// Resumes a thread until it runs. False when that fails.
bool ResumeFully(HANDLE thread) {
    DWORD suspended = 0;
    do {
        suspended = ResumeThread(thread);
    } while (suspended != 0 && suspended != kThreadCallFailed);
    return suspended == 0;
}

} // namespace

void CMedia::SetEventCallBackFun(EventCallBack fn, void* user) {
    CYMAutoLock lock(m_lock);
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
    // Until it has entered its loop, and again while it leaves, it must not be suspended.
    Shared(m_eventThread.busy).store(1);
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
    } else if (!ResumeFully(m_hEventThread)) {
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
        const DWORD left = waited < kThreadEndWait ? kThreadEndWait - waited : 0;
        if (WaitForSingleObject(m_hEventThread, left) == WAIT_TIMEOUT) {
            TerminateThread(m_hEventThread, 0);
            // It ends some time after the call; the interfaces that it uses go next.
            WaitForSingleObject(m_hEventThread, kThreadEndWait);
        }
    }
    CloseHandle(m_hEventThread);
    m_hEventThread = nullptr;
}

/// True in the host's event callback.
bool CMedia::OnEventThread() const {
    return m_hEventThread != nullptr && GetThreadId(m_hEventThread) == GetCurrentThreadId();
}

bool CMedia::HasVisibleVideo() const {
    return m_pVideoWindow != nullptr && m_playWindow != nullptr && m_videoTrackNum > 0;
}

DWORD WINAPI CMedia::_EventThreadFun(void* param) {
    if (param == nullptr) {
        return 1;
    }
    CMedia& media = *static_cast<CMedia*>(param);
    if (media.m_pMediaEvent == nullptr) {
        return 0;
    }
    // Not when playback was started anew since the completion.
    const auto leaveAfterCompletion = [&state = media.m_eventThread] {
        Shared(state.busy).store(kLeaving);
        if (Shared(state.stay).exchange(0) == 0) {
            return true;
        }
        Shared(state.busy).store(0);
        return false;
    };
    IMediaEventEx* events = nullptr;
    OAEVENT queue = 0;
    bool finished = false;
    Shared(media.m_eventThread.busy).store(0);
    while (!media.EventThreadMustLeave()) {
        if (events != media.m_pMediaEvent) { // a callback may have loaded the item anew
            events = media.m_pMediaEvent;
            queue = 0;
            if (events != nullptr) {
                events->GetEventHandle(&queue);
            }
        }
        const DWORD wait = WaitForSingleObject(reinterpret_cast<HANDLE>(queue), kEventWait);
        if (wait == WAIT_OBJECT_0 && media.EnterEvents()) {
            media.DrainEvents(finished);
            Shared(media.m_eventThread.busy).store(0);
            if (finished && leaveAfterCompletion()) {
                return 0;
            }
            finished = false;
        } else if (wait != WAIT_OBJECT_0 && wait != WAIT_TIMEOUT) {
            Sleep(kEventWait);
        }
    }
    Shared(media.m_eventThread.busy).store(kLeaving);
    return 0;
}

bool CMedia::EventThreadMustLeave() {
    return Shared(m_playState).load() == State_Stopped || Shared(m_eventThread.quit).load() != 0;
}

/// Waits until no host thread holds the event thread. False when it is to leave instead.
bool CMedia::EnterEvents() {
    for (;;) {
        Shared(m_eventThread.busy).store(1);
        if (Shared(m_eventThread.holds).load() == 0) {
            return true;
        }
        Shared(m_eventThread.busy).store(0);
        if (EventThreadMustLeave()) {
            return false;
        }
        Sleep(1);
    }
}

EventHold::EventHold(CMedia& media) : m_media(media) {
    const bool nested = Shared(m_media.m_eventThread.holds).fetch_add(1) != 0;
    // A paused item's thread is suspended, and was at a safe point when it was.
    if (nested || m_media.m_hEventThread == nullptr || m_media.m_playState == State_Paused ||
        m_media.OnEventThread()) {
        return;
    }
    const ULONGLONG start = GetTickCount64();
    while (Shared(m_media.m_eventThread.busy).load() != 0 && GetTickCount64() - start < kHoldWait &&
           WaitForSingleObject(m_media.m_hEventThread, 1) == WAIT_TIMEOUT) {
    }
    m_waited = static_cast<DWORD>(GetTickCount64() - start);
}

EventHold::~EventHold() {
    Shared(m_media.m_eventThread.holds).fetch_sub(1);
}

/// Handles and forwards every queued event. The last one decides whether playback has ended.
void CMedia::DrainEvents(bool& finished) {
    IMediaEventEx* const events = m_pMediaEvent;
    long code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    while (events == m_pMediaEvent && Shared(m_eventThread.quit).load() == 0 &&
           SUCCEEDED(events->GetEvent(&code, &param1, &param2, 0))) {
        finished = code == EC_COMPLETE || code == EC_END_OF_SEGMENT;
        if (finished) {
            Shared(m_eventThread.stay).store(0);
            finished = !HandleCompletion();
        }
        ForwardEvent(code, param1, param2);
        if (events == m_pMediaEvent) { // else the callback has unloaded the item
            events->FreeEventParams(code, param1, param2);
        }
    }
}

/// Restarts a looping graph and answers true; else hides the picture.
bool CMedia::HandleCompletion() {
    const bool looping = Shared(m_isLoop).load() != 0;
    if (looping && m_pMediaControl != nullptr) {
        // On the graph itself: the item stays in its running state. A host thread that is
        // waiting gets its turn in between, and may have stopped the item then.
        m_pMediaControl->Stop();
        Shared(m_eventThread.busy).store(0);
        if (EnterEvents()) {
            m_pMediaControl->Run();
        }
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
        fn(this, user, code, param1, param2);
    }
}

void CMedia::EnumMediaFilter(void (*fn)(IBaseFilter*, void*), void* user, int all) {
    CYMAutoLock lock(m_lock);
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
    CYMAutoLock lock(m_lock);
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
