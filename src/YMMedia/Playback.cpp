// Running, pausing, stopping, stepping, seeking, the clip, the play state.

#include <algorithm>
#include <utility>

#include "YMMedia/EventThread.h"
#include "YMMedia/Seeking.h"

namespace ymdshow {

namespace {

constexpr DWORD kStopPatience = 500; // ms for what the event thread does on the graph

} // namespace

// In a call that may take its time the graph answers messages, and a window procedure may then
// unload the item or destroy it: what is called is held, and the item is looked at afterwards.

int CMedia::Play() {
    return Inside::OnGraph(*this, 0, [&] {
        const ymlib::CYMAutoLock item(m_lock);
        if ((m_pGB == nullptr && Load(nullptr, 0) == 0) || item.IsDestroyed() ||
            m_pMediaControl == nullptr) {
            return 0;
        }
        if (m_playState == State_Running) {
            return 1;
        }
        const std::int32_t before = std::exchange(m_playState, State_Running);
        const HRESULT run =
            AnswerOr(E_UNEXPECTED,
                     [control = ComPtr<IMediaControl>(m_pMediaControl)] { return control->Run(); });
        if (item.IsDestroyed() || m_playState != State_Running) {
            return 0;
        }
        if (FAILED(run)) {
            m_playState = before;
            YMD_LOG_ERROR("ymdshow::CMedia::Play", "DShow Run Failed : %s", m_mediaPath.c_str());
            return 0;
        }
        if ((m_pEventCallBack != nullptr || m_isLoop != 0 || m_inside->pace.HasRange()) &&
            m_pMediaEvent != nullptr) {
            m_inside->events->Resume(*this);
        }
        Inside::ShowVideo(*this, OATRUE);
        return 1;
    });
}

int CMedia::Pause() {
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pMediaControl == nullptr) {
            return 0;
        }
        if (m_playState != State_Running) {
            return 1;
        }
        const ymlib::CYMAutoLock item(m_lock);
        if (FAILED(ComPtr<IMediaControl>(m_pMediaControl)->Pause()) || item.IsDestroyed() ||
            m_playState != State_Running) {
            return 0;
        }
        m_inside->events->Suspend(*this);
        m_playState = State_Paused;
        return 1;
    });
}

int CMedia::Stop() {
    return Inside::Locked(*this, 0, [&] {
        const ymlib::CYMAutoLock item(m_lock);
        ULONGLONG begin = GetTickCount64();
        {
            // A graph that hangs in the event thread's hands may still stop in this one's.
            m_inside->AnswerEventThread();
            const ymlib::CYMAutoLock turn(m_inside->gate, kStopPatience);
            if (item.IsDestroyed() || m_pMediaControl == nullptr) {
                return 0;
            }
            const ComPtr<IMediaControl> control(m_pMediaControl);
            if (FAILED(control->Stop()) || item.IsDestroyed() || m_pMediaControl != control.Get()) {
                return 0;
            }
            m_playState = State_Stopped;
            Quietly([&] { Inside::ShowVideo(*this, OAFALSE); });
            if (!item.IsDestroyed()) {
                Quietly([&] { Inside::Rewind(*this); }); // what it answers does not matter
            }
            if (turn.IsHeld()) {
                begin = GetTickCount64(); // the event thread could not leave before
            }
        }
        if (!item.IsDestroyed()) {
            m_inside->events->End(*this, begin);
        }
        return 1;
    });
}

/// Of an item that has a window to draw into.
void CMedia::Inside::ShowVideo(const CMedia& media, long visible) {
    if (media.m_pVideoWindow != nullptr && media.m_playWindow != nullptr &&
        media.m_videoTrackNum > 0) {
        ComPtr<IVideoWindow>(media.m_pVideoWindow)->put_Visible(visible);
    }
}

/// To the clip's start.
void CMedia::Inside::Rewind(CMedia& media) {
    media.m_inside->pace.origin = media.m_clipStartTime;
    if (media.m_inside->pace.HasRange()) {
        SeekRange(media, ComPtr<IMediaSeeking>(media.m_pMediaSeeking).Get());
    } else if (media.m_clipStartTime != 0 || media.m_clipEndTime != media.m_originalDuration) {
        ApplyClip(media);
    } else if (media.m_pMediaSeeking != nullptr) {
        LONGLONG start = 0;
        ComPtr<IMediaSeeking>(media.m_pMediaSeeking)
            ->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr,
                           AM_SEEKING_NoPositioning);
    }
}

int CMedia::StopWhenReady() {
    return Inside::OnGraph(*this, 0, [&] {
        return m_pMediaControl != nullptr &&
                       SUCCEEDED(ComPtr<IMediaControl>(m_pMediaControl)->StopWhenReady())
                   ? 1
                   : 0;
    });
}

int CMedia::CanStep() const {
    return Inside::OnGraph(*this, 0, [&] {
        ComPtr<IVideoFrameStep> step;
        return m_pGB != nullptr && SUCCEEDED(m_pGB->QueryInterface(IID_PPV_ARGS(&step))) &&
                       step != nullptr && SUCCEEDED(step->CanStep(0, nullptr))
                   ? 1
                   : 0;
    });
}

int CMedia::StepFrame() {
    return Inside::OnGraph(*this, 0, [&] {
        ComPtr<IVideoFrameStep> step;
        if (m_pGB == nullptr || FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&step))) ||
            step == nullptr) {
            return 0;
        }
        if (m_playState != State_Paused) {
            Pause();
        }
        return SUCCEEDED(step->Step(1, nullptr)) ? 1 : 0;
    });
}

int CMedia::SetMediaPosition(std::int64_t position) {
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pMediaSeeking == nullptr || m_pMediaControl == nullptr) {
            return 0;
        }
        const ComPtr<IMediaSeeking> seeking(m_pMediaSeeking);
        const std::int64_t frameTime = m_videoOriginalAvgFrameTime;
        const PausedGraph paused(m_pMediaControl, m_lock, m_playState);
        const HRESULT result = SeekInUnits(
            seeking.Get(), frameTime, paused.StateResult(), [&](std::int64_t unit, TimeFormat) {
                LONGLONG target = position / unit;
                return seeking->SetPositions(
                    &target, AM_SEEKING_AbsolutePositioning | m_inside->pace.SegmentFlag(), nullptr,
                    AM_SEEKING_NoPositioning);
            });
        m_inside->pace.origin = SUCCEEDED(result) ? position : m_inside->pace.origin;
        return SUCCEEDED(result) ? 1 : 0;
    });
}

std::int64_t CMedia::GetMediaPosition() {
    return Inside::OnGraph(*this, std::int64_t{0}, [&] {
        LONGLONG position = 0;
        if (m_pMediaSeeking != nullptr && m_playState != State_Stopped) {
            InMediaTime(m_pMediaSeeking, [&] { m_pMediaSeeking->GetCurrentPosition(&position); });
        }
        return m_inside->pace.PositionOf(position);
    });
}

int CMedia::TimeClip(const std::int64_t& start, const std::int64_t& end) {
    return Inside::OnGraph(*this, 0, [&] {
        // The arguments may be this item's own members.
        const std::int64_t wantedStart = start < 0 ? 0 : start;
        const std::int64_t wantedEnd = end < 1 ? m_originalDuration : end;
        m_clipStartTime = std::min(wantedStart, wantedEnd);
        m_clipEndTime = std::max(wantedStart, wantedEnd);
        m_inside->pace.end = 0;
        return Inside::ApplyClip(*this);
    });
}

int CMedia::Inside::ApplyClip(CMedia& media) {
    if (media.m_pMediaSeeking == nullptr || media.m_pMediaControl == nullptr) {
        return 1;
    }
    const ComPtr<IMediaSeeking> seeking(media.m_pMediaSeeking);
    DWORD capabilities = 0;
    if (FAILED(seeking->GetCapabilities(&capabilities)) ||
        (capabilities & AM_SEEKING_CanSeekAbsolute) == 0) {
        return 0;
    }
    const std::int64_t frameTime = media.m_videoOriginalAvgFrameTime;
    const std::int64_t start = media.m_clipStartTime;
    const std::int64_t end = media.m_clipEndTime;
    media.m_inside->pace.origin = start;
    const PausedGraph paused(media.m_pMediaControl, media.m_lock, media.m_playState);
    const HRESULT result = SeekInUnits(
        seeking.Get(), frameTime, paused.StateResult(), [&](std::int64_t unit, TimeFormat format) {
            LONGLONG first = start / unit;
            LONGLONG stop = end / unit;
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
    return Inside::OnGraph(*this, 0L, [&] {
        OAFilterState state = State_Stopped;
        if (m_pMediaControl != nullptr) {
            // Whatever the query wrote counts, an intermediate state included.
            ComPtr<IMediaControl>(m_pMediaControl)->GetState(kStateTimeout, &state);
        }
        return static_cast<long>(state);
    });
}

int CMedia::Inside::IsInState(const CMedia& media, OAFilterState wanted) {
    return OnGraph(media, 0, [&] {
        OAFilterState state = State_Stopped;
        return media.m_pGB != nullptr && media.m_pMediaControl != nullptr &&
                       SUCCEEDED(ComPtr<IMediaControl>(media.m_pMediaControl)
                                     ->GetState(kStateTimeout, &state)) &&
                       state == wanted
                   ? 1
                   : 0;
    });
}

int CMedia::IsPlaying() const {
    return Inside::IsInState(*this, State_Running);
}
int CMedia::IsPaused() const {
    return Inside::IsInState(*this, State_Paused);
}
int CMedia::IsStopped() const {
    return Inside::IsInState(*this, State_Stopped);
}

void CMedia::SetLoop(int loop) {
    Inside::OnGraph(*this, [&] {
        m_isLoop = loop;
        if (loop != 0) {
            Inside::StartEvents(*this);
        }
    });
}

int CMedia::IsLoop() const {
    return m_isLoop;
}

} // namespace ymdshow
