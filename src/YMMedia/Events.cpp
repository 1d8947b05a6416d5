#include <atomic>

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
constexpr int kHoldWait = 200;        // ms until a busy event thread is held no longer
constexpr DWORD kThreadCallFailed = static_cast<DWORD>(-1);

/// Shared between the event thread, which takes no lock, and host threads.
std::atomic_ref<std::int32_t> Shared(std::int32_t& value) {
    return std::atomic_ref<std::int32_t>(value);
}

} // namespace

void CMedia::SetEventCallBackFun(EventCallBack fn, void* user) {
    CYMAutoLock lock(m_lock);
    {
        const EventHold hold(*this); // the thread reads the two as a pair
        m_pEventCallBack = fn;
        m_pEventCallBackUser = user;
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
    Shared(m_eventThreadQuit).store(0);
    Shared(m_eventThreadBusy).store(0);
    m_hEventThread = CreateThread(nullptr, 0, _EventThreadFun, this, 0, nullptr);
}

/// Makes sure that a live, running event thread exists.
void CMedia::WakeEventThread() {
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
    DWORD suspended = 0;
    do {
        suspended = ResumeThread(m_hEventThread);
    } while (suspended != 0 && suspended != kThreadCallFailed);
    if (suspended == kThreadCallFailed) {
        // Kept: the resume path logs the same text as Pause.
        YMD_LOG_ERROR("ymdshow::CMedia::Play", "Suspend Event Thread Failed, Error Code %d : %s",
                      static_cast<int>(GetLastError()), m_mediaPath.c_str());
    }
}

/// Lets the event thread leave by itself, and terminates it when it does not in time. A
/// suspended thread is resumed first: terminated where it stands it could take a lock with it.
void CMedia::EndEventThread() {
    if (m_hEventThread == nullptr) {
        return;
    }
    Shared(m_eventThreadQuit).store(1);
    DWORD code = 0;
    if (GetExitCodeThread(m_hEventThread, &code) != FALSE && code == STILL_ACTIVE &&
        !OnEventThread()) {
        DWORD suspended = 0;
        do {
            suspended = ResumeThread(m_hEventThread);
        } while (suspended != 0 && suspended != kThreadCallFailed);
        if (WaitForSingleObject(m_hEventThread, kThreadEndWait) == WAIT_TIMEOUT) {
            TerminateThread(m_hEventThread, 0);
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
    OAEVENT queue = 0;
    media.m_pMediaEvent->GetEventHandle(&queue);
    bool finished = false;
    while (!finished && Shared(media.m_playState).load() != State_Stopped &&
           Shared(media.m_eventThreadQuit).load() == 0) {
        if (WaitForSingleObject(reinterpret_cast<HANDLE>(queue), kEventWait) != WAIT_OBJECT_0) {
            continue;
        }
        Shared(media.m_eventThreadBusy).store(1);
        if (Shared(media.m_eventThreadHolds).load() == 0) {
            media.DrainEvents(finished);
            Shared(media.m_eventThreadBusy).store(0);
        } else {
            Shared(media.m_eventThreadBusy).store(0);
            Sleep(1);
        }
    }
    return 0;
}

EventHold::EventHold(CMedia& media) : m_media(media) {
    Shared(m_media.m_eventThreadHolds).fetch_add(1);
    if (m_media.m_hEventThread == nullptr || m_media.OnEventThread()) {
        return;
    }
    for (int waited = 0; waited < kHoldWait && Shared(m_media.m_eventThreadBusy).load() != 0;
         ++waited) {
        Sleep(1);
    }
}

EventHold::~EventHold() {
    Shared(m_media.m_eventThreadHolds).fetch_sub(1);
}

/// Handles and forwards every queued event. The last one decides whether playback has ended.
void CMedia::DrainEvents(bool& finished) {
    long code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    while (Shared(m_eventThreadQuit).load() == 0 &&
           SUCCEEDED(m_pMediaEvent->GetEvent(&code, &param1, &param2, 0))) {
        finished = code == EC_COMPLETE || code == EC_END_OF_SEGMENT;
        if (finished) {
            const bool looping = Shared(m_isLoop).load() != 0;
            if (looping && m_pMediaControl != nullptr) {
                // On the graph itself: the item stays in its running state.
                m_pMediaControl->Stop();
                m_pMediaControl->Run();
                finished = false;
            } else if (!looping && HasVisibleVideo()) {
                m_pVideoWindow->put_Visible(OAFALSE);
            }
        }
        if (m_pEventCallBack != nullptr) {
            m_pEventCallBack(this, m_pEventCallBackUser, code, param1, param2);
        }
        if (m_pMediaEvent == nullptr) {
            return; // the callback has unloaded the item
        }
        m_pMediaEvent->FreeEventParams(code, param1, param2);
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
