#include <ymdshow/Media.h>

#include "YMMedia/EventHold.h"
#include "YMMedia/Seeking.h"
#include "YMMedia/Support.h"

namespace ymdshow {

int CMedia::Play() {
    const ItemLock lock(*this);
    if (IsLoaded() == 0 && Load(nullptr, 0) == 0) {
        return 0;
    }
    if (m_pMediaControl == nullptr) {
        return 0;
    }
    if (m_playState == State_Running) {
        return 1;
    }
    if (FAILED(m_pMediaControl->Run())) {
        YMD_LOG_ERROR("ymdshow::CMedia::Play", "DShow Run Failed : %s", m_mediaPath.c_str());
        return 0;
    }
    // Before the thread is started or resumed: it ends at once when it finds state 0.
    Shared(m_playState).store(State_Running);
    if ((m_pEventCallBack != nullptr || m_isLoop != 0) && m_pMediaEvent != nullptr) {
        WakeEventThread();
    }
    if (HasVisibleVideo()) {
        m_pVideoWindow->put_Visible(OATRUE);
    }
    return 1;
}

int CMedia::Pause() {
    const ItemLock lock(*this);
    if (m_pMediaControl == nullptr) {
        return 0;
    }
    if (m_playState != State_Running) {
        return 1;
    }
    const EventHold hold(*this);
    if (FAILED(m_pMediaControl->Pause())) {
        return 0;
    }
    // A callback that pauses must not suspend the thread that it runs on, lock in hand.
    DWORD code = 0;
    if (m_hEventThread != nullptr && !OnEventThread() &&
        GetExitCodeThread(m_hEventThread, &code) != FALSE && code == STILL_ACTIVE) {
        if (SuspendThread(m_hEventThread) != static_cast<DWORD>(-1)) {
            m_eventThread.suspended = 1;
        } else {
            YMD_LOG_ERROR("ymdshow::CMedia::Pause",
                          "Suspend Event Thread Failed, Error Code %d : %s",
                          static_cast<int>(GetLastError()), m_mediaPath.c_str());
        }
    }
    Shared(m_playState).store(State_Paused);
    return 1;
}

int CMedia::Stop() {
    const ItemLock lock(*this);
    if (m_pMediaControl == nullptr) {
        return 0;
    }
    const EventHold hold(*this);
    if (FAILED(m_pMediaControl->Stop())) {
        return 0;
    }
    Shared(m_playState).store(State_Stopped);
    if (HasVisibleVideo()) {
        m_pVideoWindow->put_Visible(OAFALSE);
    }
    if (m_pMediaSeeking != nullptr) {
        if (m_clipStartTime != 0 || m_clipEndTime != m_originalDuration) {
            TimeClip(m_clipStartTime, m_clipEndTime);
        } else {
            LONGLONG start = 0;
            m_pMediaSeeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr,
                                          AM_SEEKING_NoPositioning);
        }
    }
    EndEventThread(hold.Waited());
    return 1;
}

int CMedia::StopWhenReady() {
    const ItemLock lock(*this);
    return m_pMediaControl != nullptr && SUCCEEDED(m_pMediaControl->StopWhenReady()) ? 1 : 0;
}

int CMedia::CanStep() const {
    const ItemLock lock(*this);
    ComPtr<IVideoFrameStep> step;
    return m_pGB != nullptr && SUCCEEDED(m_pGB->QueryInterface(IID_PPV_ARGS(&step))) &&
                   SUCCEEDED(step->CanStep(0, nullptr))
               ? 1
               : 0;
}

int CMedia::StepFrame() {
    const ItemLock lock(*this);
    ComPtr<IVideoFrameStep> step;
    if (m_pGB == nullptr || FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&step)))) {
        return 0;
    }
    if (m_playState != State_Paused) {
        Pause();
    }
    return SUCCEEDED(step->Step(1, nullptr)) ? 1 : 0;
}

int CMedia::SetMediaPosition(std::int64_t position) {
    const ItemLock lock(*this);
    if (m_pMediaSeeking == nullptr || m_pMediaControl == nullptr) {
        return 0;
    }
    IMediaSeeking* const seeking = m_pMediaSeeking;
    const EventHold hold(*this);
    const PausedGraph paused(m_pMediaControl);
    const HRESULT result =
        SeekInUnits(seeking, m_videoOriginalAvgFrameTime, paused.StateResult(),
                    [seeking, position](std::int64_t unit, TimeFormat) {
                        LONGLONG target = position / unit;
                        return seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning,
                                                     nullptr, AM_SEEKING_NoPositioning);
                    });
    return SUCCEEDED(result) ? 1 : 0;
}

std::int64_t CMedia::GetMediaPosition() {
    const ItemLock lock(*this);
    if (m_pMediaSeeking == nullptr || m_playState == State_Stopped) {
        return 0;
    }
    LONGLONG position = 0;
    InMediaTime(m_pMediaSeeking, [&] { return m_pMediaSeeking->GetCurrentPosition(&position); });
    return position;
}

int CMedia::TimeClip(const std::int64_t& start, const std::int64_t& end) {
    const ItemLock lock(*this);
    // The arguments may be this item's own members.
    const std::int64_t wantedStart = start < 0 ? 0 : start;
    const std::int64_t wantedEnd = end < 1 ? m_originalDuration : end;
    m_clipStartTime = wantedEnd < wantedStart ? wantedEnd : wantedStart;
    m_clipEndTime = wantedEnd < wantedStart ? wantedStart : wantedEnd;
    if (m_pMediaSeeking == nullptr || m_pMediaControl == nullptr) {
        return 1;
    }
    IMediaSeeking* const seeking = m_pMediaSeeking;
    DWORD capabilities = 0;
    if (FAILED(seeking->GetCapabilities(&capabilities)) ||
        (capabilities & AM_SEEKING_CanSeekAbsolute) == 0) {
        return 0;
    }
    const EventHold hold(*this);
    const PausedGraph paused(m_pMediaControl);
    const HRESULT result =
        SeekInUnits(seeking, m_videoOriginalAvgFrameTime, paused.StateResult(),
                    [this, seeking](std::int64_t unit, TimeFormat format) {
                        LONGLONG first = m_clipStartTime / unit;
                        LONGLONG stop = m_clipEndTime / unit;
                        LONGLONG duration = 0;
                        if (format == TimeFormat::NativeMediaTime &&
                            SUCCEEDED(seeking->GetDuration(&duration)) && stop >= duration) {
                            stop = duration - 1;
                        }
                        return seeking->SetPositions(&first, AM_SEEKING_AbsolutePositioning, &stop,
                                                     AM_SEEKING_AbsolutePositioning);
                    });
    return SUCCEEDED(result) ? 1 : 0;
}

const std::int64_t& CMedia::GetClipStartTime() const {
    return m_clipStartTime;
}
const std::int64_t& CMedia::GetClipEndTime() const {
    return m_clipEndTime;
}
std::int64_t CMedia::GetClipDuration() const {
    return m_clipEndTime - m_clipStartTime;
}
const std::int64_t& CMedia::GetOriginalDuration() const {
    return m_originalDuration;
}

long CMedia::GetPlayState() const {
    const ItemLock lock(*this);
    OAFilterState state = State_Stopped;
    if (m_pMediaControl != nullptr) {
        // Whatever the query wrote counts, an intermediate state included.
        m_pMediaControl->GetState(kStateTimeout, &state);
    }
    return state;
}

namespace {

int IsInState(IGraphBuilder* graph, IMediaControl* control, OAFilterState wanted) {
    OAFilterState state = State_Stopped;
    return graph != nullptr && control != nullptr &&
                   SUCCEEDED(control->GetState(kStateTimeout, &state)) && state == wanted
               ? 1
               : 0;
}

} // namespace

int CMedia::IsPlaying() const {
    const ItemLock lock(*this);
    return IsInState(m_pGB, m_pMediaControl, State_Running);
}

int CMedia::IsPaused() const {
    const ItemLock lock(*this);
    return IsInState(m_pGB, m_pMediaControl, State_Paused);
}

int CMedia::IsStopped() const {
    const ItemLock lock(*this);
    return IsInState(m_pGB, m_pMediaControl, State_Stopped);
}

void CMedia::SetLoop(int loop) {
    const ItemLock lock(*this);
    Shared(m_isLoop).store(loop);
    if (loop != 0 && m_playState == State_Running && m_hEventThread == nullptr &&
        m_pMediaEvent != nullptr) {
        CreateEventThread();
    }
}

int CMedia::IsLoop() const {
    return m_isLoop;
}

} // namespace ymdshow
