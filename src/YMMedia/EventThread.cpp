// The thread that drains the graph's events, and how host threads start, hold and end it.

#include "YMMedia/EventThread.h"

#include <algorithm>
#include <utility>

#include "GraphToolkit/Ranges.h"

namespace ymdshow {

namespace {

constexpr DWORD kRestTime = 100;    // ms between looks at the play state
constexpr ULONGLONG kEndTime = 500; // ms until a thread is terminated
constexpr DWORD kThreadCallFailed = static_cast<DWORD>(-1);

/// Resumes a thread until it runs. False when that fails.
bool ResumeFully(HANDLE thread) {
    DWORD suspended = 0;
    do {
        suspended = ResumeThread(thread);
    } while (suspended != 0 && suspended != kThreadCallFailed);
    return suspended == 0;
}

bool IsAlive(HANDLE thread) {
    DWORD code = 0;
    return GetExitCodeThread(thread, &code) != FALSE && code == STILL_ACTIVE;
}

} // namespace

void CMedia::SetEventCallBackFun(EventCallBack fn, void* user) {
    Inside::OnGraph(*this, [&] {
        m_pEventCallBack = fn;
        m_pEventCallBackUser = user;
        if (fn != nullptr) {
            Inside::StartEvents(*this);
        }
    });
}

void CMedia::SetAddFilterCallBack(AddFilterCallBack fn, void* user) {
    m_pAddFilterCallBack = fn;
    m_pAddFilterCallBackUser = user;
}

DWORD WINAPI CMedia::_EventThreadFun(void* param) {
    if (param == nullptr) {
        return 1;
    }
    CMedia& media = *static_cast<CMedia*>(param);
    if (media.m_pMediaEvent != nullptr) {
        media.m_inside->events->Run(media);
    }
    return 0;
}

/// For a running item that has got a reason to have its events read.
void CMedia::Inside::StartEvents(CMedia& media) {
    if (media.m_playState == State_Running && media.m_hEventThread == nullptr &&
        media.m_pMediaEvent != nullptr) {
        media.m_inside->events->Start(media);
    }
}

void CMedia::Inside::AnswerEventThread() const {
    if (events->IsInGraph() && InSendMessage() != FALSE) {
        ReplyMessage(0);
    }
}

void CMedia::Inside::EventThread::Start(CMedia& media) {
    m_mustLeave = false;
    m_isFinished = false;
    m_place = Place::Starting;
    media.m_hEventThread = CreateThread(nullptr, 0, _EventThreadFun, &media, 0, nullptr);
}

void CMedia::Inside::EventThread::Resume(CMedia& media) {
    m_isFinished = false;
    HANDLE& thread = media.m_hEventThread;
    if (thread != nullptr && IsCurrent()) {
        m_mustLeave = false;
        return;
    }
    DWORD code = 0;
    if (thread != nullptr && GetExitCodeThread(thread, &code) == FALSE) {
        return;
    }
    if (thread != nullptr && (code != STILL_ACTIVE || m_place == Place::Left)) {
        WaitForSingleObject(thread, static_cast<DWORD>(kEndTime)); // about to return
        CloseHandle(thread);
        thread = nullptr;
        ++m_ends;
    }
    if (thread == nullptr) {
        Start(media);
        return;
    }
    m_mustLeave = false;
    SetEvent(m_wake);
    if (!ResumeFully(thread)) {
        // Kept: the resume path logs the same text as Pause.
        YMD_LOG_ERROR("ymdshow::CMedia::Play", "Suspend Event Thread Failed, Error Code %d : %s",
                      static_cast<int>(GetLastError()), media.m_mediaPath.c_str());
    }
}

void CMedia::Inside::EventThread::Suspend(CMedia& media) {
    // As it starts and leaves it may hold the system's loader lock, in a callback any lock.
    // It parks by itself then.
    if (m_place != Place::Resting || !IsAlive(media.m_hEventThread)) {
        return;
    }
    if (SuspendThread(media.m_hEventThread) != kThreadCallFailed) {
        CONTEXT context{};
        context.ContextFlags = CONTEXT_CONTROL;
        GetThreadContext(media.m_hEventThread, &context); // waits until it stands
        if (m_place != Place::Resting) {
            ResumeThread(media.m_hEventThread);
        }
    } else {
        YMD_LOG_ERROR("ymdshow::CMedia::Pause", "Suspend Event Thread Failed, Error Code %d : %s",
                      static_cast<int>(GetLastError()), media.m_mediaPath.c_str());
    }
}

void CMedia::Inside::EventThread::End(CMedia& media, ULONGLONG begin) {
    if (media.m_hEventThread == nullptr) {
        return;
    }
    m_mustLeave = true;
    if (IsCurrent()) {
        return;
    }
    // Of its own: a message that is handled meanwhile may close the item's and start another.
    HANDLE thread = nullptr;
    const bool isDuplicate =
        DuplicateHandle(GetCurrentProcess(), media.m_hEventThread, GetCurrentProcess(), &thread, 0,
                        FALSE, DUPLICATE_SAME_ACCESS) != FALSE;
    if (!isDuplicate) {
        thread = media.m_hEventThread; // the process has as many handles as it can
    }
    const ymlib::CYMAutoLock item(media.m_lock);
    const unsigned ends = m_ends;
    bool isOurs = true;
    if (IsAlive(thread)) {
        const ymlib::CYMAutoUnlock turn(m_gate);
        SetEvent(m_wake);
        ResumeFully(thread); // terminated where it stands it could take a lock with it
        for (bool hasEnded = false; isOurs && !hasEnded;) {
            const ULONGLONG waited = GetTickCount64() - begin;
            hasEnded = ymlib::WaitAnswering(
                thread, static_cast<DWORD>(kEndTime - std::min(waited, kEndTime)));
            isOurs = !item.IsDestroyed() && ends == m_ends && m_mustLeave;
            if (isOurs && !hasEnded && waited >= kEndTime) {
                TerminateThread(thread, 0);
                // It ends some time after the call; the interfaces that it uses go next.
                WaitForSingleObject(thread, static_cast<DWORD>(kEndTime));
                m_gate.Abandon(GetThreadId(thread));
                media.m_lock.Abandon(GetThreadId(thread));
                hasEnded = true;
            }
        }
    }
    if (isDuplicate) {
        CloseHandle(thread);
    }
    if (isOurs) { // not ended, nor wanted again, by what a message has done
        CloseHandle(media.m_hEventThread);
        media.m_hEventThread = nullptr;
        m_id = 0;
        m_place = Place::Outside;
        ++m_ends;
    }
}

void CMedia::Inside::EventThread::GiveUpQueue(CMedia& media) {
    ++m_queues;
    if (IsCurrent() && m_parting == nullptr) {
        toolkit::Adopt(m_parting, std::exchange(media.m_pMediaEvent, nullptr));
    }
    ReleaseMember(media.m_pMediaEvent);
}

void CMedia::Inside::EventThread::Run(CMedia& media) {
    m_id = GetCurrentThreadId();
    m_gate.Lock();
    Quietly([&] {
        HANDLE queue = nullptr;
        for (unsigned known = m_queues - 1;
             media.m_playState != State_Stopped && !m_mustLeave && !m_isFinished;) {
            if (known != m_queues) { // at first, and when a callback has loaded the item anew
                known = m_queues;
                OAEVENT handle = 0;
                if (media.m_pMediaEvent != nullptr) {
                    media.m_pMediaEvent->GetEventHandle(&handle);
                }
                queue = reinterpret_cast<HANDLE>(handle);
            }
            const bool isPlaying = media.m_playState == State_Running;
            if (Rest(isPlaying ? queue : nullptr) && known == m_queues &&
                media.m_playState == State_Running) {
                Drain(media);
            }
        }
    });
    m_place = Place::Left;
    m_id = 0;
    m_gate.Unlock();
}

/// Waits for an event in the queue without the gate, for a short time. True when there is one.
bool CMedia::Inside::EventThread::Rest(HANDLE queue) {
    const HANDLE objects[] = {m_wake, queue};
    m_place = Place::Resting;
    m_gate.Unlock();
    const DWORD woke = WaitForMultipleObjects(queue != nullptr ? 2 : 1, objects, FALSE, kRestTime);
    if (woke == WAIT_FAILED) {
        Sleep(kRestTime);
    }
    m_place = Place::Waiting; // who waits for a lock is not suspended
    m_gate.Lock();
    return woke == WAIT_OBJECT_0 + 1;
}

/// Handles and forwards all queued events; the last one decides whether playback has ended.
void CMedia::Inside::EventThread::Drain(CMedia& media) {
    m_place = Place::InGraph;
    IMediaEventEx* const events = media.m_pMediaEvent;
    const unsigned known = m_queues;
    long code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
    while (known == m_queues && SUCCEEDED(events->GetEvent(&code, &param1, &param2, 0))) {
        m_isFinished = (code == EC_COMPLETE || code == EC_END_OF_SEGMENT) && HandleEnd(media, code);
        Forward(media, code, param1, param2);
        if (known == m_queues) {
            events->FreeEventParams(code, param1, param2);
        } else if (m_parting != nullptr) { // the callback has unloaded the item
            m_parting->FreeEventParams(code, param1, param2);
            m_parting.Reset();
        }
        while (known == m_queues && media.m_playState == State_Paused && !m_mustLeave) {
            Rest(nullptr);
            m_place = Place::InGraph;
        }
    }
}

/// Restarts a looping graph, or hides the picture. True when playback has ended. A graph that a
/// callback has stopped meanwhile stays as it is.
bool CMedia::Inside::EventThread::HandleEnd(CMedia& media, long code) {
    if (media.m_playState != State_Running) {
        return true;
    }
    if (media.m_inside->pace.HasRange() && media.m_pMediaControl != nullptr) {
        if (code != EC_END_OF_SEGMENT || !RepeatSegment(media)) {
            media.m_pMediaControl->Stop();
            SeekRange(media, media.m_pMediaSeeking);
            media.m_pMediaControl->Run();
        }
        return false;
    }
    if (media.m_isLoop != 0 && media.m_pMediaControl != nullptr) {
        // On the graph itself: the item stays in its running state.
        media.m_pMediaControl->Stop();
        media.m_pMediaControl->Run();
        return false;
    }
    if (media.m_isLoop == 0) {
        ShowVideo(media, OAFALSE);
    }
    return true;
}

void CMedia::Inside::EventThread::Forward(CMedia& media, long code, LONG_PTR param1,
                                          LONG_PTR param2) {
    const EventCallBack fn = media.m_pEventCallBack;
    void* const user = media.m_pEventCallBackUser;
    if (fn == nullptr) {
        return;
    }
    m_place = Place::InCallback;
    m_gate.Unlock();
    Quietly([&] { fn(&media, user, code, param1, param2); });
    m_gate.Lock();
    m_place = Place::InGraph;
}

} // namespace ymdshow
