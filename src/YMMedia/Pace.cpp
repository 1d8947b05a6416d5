// Frame by frame, the rate, and a range that repeats.

#include <algorithm>
#include <cmath>

#include "GraphToolkit/DownstreamWalk.h"
#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventThread.h"
#include "YMMedia/Seeking.h"

namespace ymdshow {

namespace {

constexpr std::int64_t kUsualFrameTime = 400000; // 40 ms

constexpr HRESULT kNobodySeeks = VFW_E_NOT_FOUND;

/// Calls `call(IMediaSeeking&)` on the output pins of the first filters from the source downstream
/// that seek: success when each took it, else the first failure, kNobodySeeks
/// without any.
template <class Call> HRESULT OnSourcePins(IBaseFilter* source, Call&& call) {
    for (toolkit::DownstreamWalk walk(source); walk.Current() != nullptr; walk.Next()) {
        HRESULT result = E_NOTIMPL;
        bool isFirst = true;
        for (const ComPtr<IPin>& pin : toolkit::Pins(walk.Current())) {
            ComPtr<IMediaSeeking> seeking;
            if (!toolkit::HasDirection(pin.Get(), PINDIR_OUTPUT) || !toolkit::IsLinked(pin.Get()) ||
                FAILED(pin->QueryInterface(IID_PPV_ARGS(&seeking))) || seeking == nullptr) {
                continue;
            }
            const HRESULT called = call(*seeking.Get());
            result = isFirst || FAILED(called) ? called : result;
            isFirst = false;
        }
        if (!isFirst) {
            return result;
        }
        walk.ScanAll();
    }
    return kNobodySeeks;
}

} // namespace

int CMedia::StepFrames(int frames) {
    return Inside::OnGraph(*this, 0, [&] {
        const ymlib::CYMAutoLock item(m_lock);
        if (m_pMediaSeeking == nullptr || m_playState == State_Stopped || frames == 0 ||
            (m_playState != State_Paused && Pause() == 0) || item.IsDestroyed()) {
            return 0;
        }
        ComPtr<IVideoFrameStep> step;
        if (frames > 0 && CanStep() != 0 && SUCCEEDED(m_pGB->QueryInterface(IID_PPV_ARGS(&step)))) {
            return SUCCEEDED(step->Step(static_cast<DWORD>(frames), nullptr)) ? 1 : 0;
        }
        const std::int64_t frame =
            m_videoOriginalAvgFrameTime > 0 ? m_videoOriginalAvgFrameTime : kUsualFrameTime;
        const std::int64_t position = GetMediaPosition();
        if ((frames < 0 && position < frame - frame / 32) || item.IsDestroyed()) {
            return 0; // the first frame is shown already
        }
        std::int64_t target = std::max<std::int64_t>(position + frames * frame, 0);
        // The border of two frames is a matter of rounding: what is shown begins there or ends.
        const std::int64_t beyond = target % frame;
        if (beyond < frame / 32 || beyond > frame - frame / 32) {
            target += frame / 4;
        }
        return SetMediaPosition(target);
    });
}

int CMedia::GetPositionAndDuration(std::int64_t* position, std::int64_t* duration) {
    if (position != nullptr) {
        *position = 0;
    }
    if (duration != nullptr) {
        *duration = 0;
    }
    return Inside::OnGraph(*this, 0, [&] {
        if (duration != nullptr) {
            *duration = m_originalDuration;
        }
        if (position != nullptr) {
            *position = GetMediaPosition();
        }
        return m_pMediaSeeking != nullptr ? 1 : 0;
    });
}

int CMedia::SetPlayRate(double rate) {
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pMediaSeeking == nullptr || m_pSourceFilter == nullptr || !std::isfinite(rate) ||
            rate == 0.0) {
            return 0;
        }
        if (rate == m_playRate) {
            return 1;
        }
        const ymlib::CYMAutoLock item(m_lock);
        const std::int64_t position = GetMediaPosition();
        const ComPtr<IBaseFilter> source(m_pSourceFilter);
        const ComPtr<IMediaSeeking> seeking(m_pMediaSeeking);
        // A manager may pass the rate on or not, whatever it answers; the source's word counts.
        const HRESULT managers = seeking->SetRate(rate);
        const HRESULT sources =
            OnSourcePins(source.Get(), [&](IMediaSeeking& pin) { return pin.SetRate(rate); });
        if (item.IsDestroyed() ||
            (FAILED(sources) && (sources != kNobodySeeks || FAILED(managers)))) {
            return 0;
        }
        double known = 1.0;
        const bool isManagers =
            SUCCEEDED(managers) && SUCCEEDED(seeking->GetRate(&known)) && known == rate;
        m_playRate = rate;
        m_inside->pace.rate = isManagers ? 1.0 : rate;
        m_inside->pace.origin = position;
        // What has been prepared at the old rate goes.
        return m_playState == State_Stopped || SetMediaPosition(position) != 0 ? 1 : 0;
    });
}

double CMedia::GetPlayRate() const {
    return Inside::Locked(*this, 1.0, [&] { return m_playRate; });
}

int CMedia::SetLoopRange(std::int64_t start, std::int64_t end) {
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pMediaSeeking == nullptr || m_pMediaControl == nullptr) {
            return 0;
        }
        Pace& pace = m_inside->pace;
        const std::int64_t first = std::max<std::int64_t>(start, 0);
        const std::int64_t last = m_originalDuration > 0 ? std::min(end, m_originalDuration) : end;
        const ymlib::CYMAutoLock item(m_lock);
        if (last <= first) {
            const bool hadRange = std::exchange(pace.end, 0) > pace.start;
            const std::int64_t position = GetMediaPosition();
            return !hadRange || (Inside::ApplyClip(*this) != 0 && !item.IsDestroyed() &&
                                 (m_playState == State_Stopped || SetMediaPosition(position) != 0))
                       ? 1
                       : 0;
        }
        DWORD capabilities = 0;
        const ComPtr<IMediaSeeking> seeking(m_pMediaSeeking);
        if (FAILED(seeking->GetCapabilities(&capabilities)) ||
            (capabilities & AM_SEEKING_CanSeekAbsolute) == 0) {
            return 0;
        }
        pace.start = first;
        pace.end = last;
        pace.isSegment = (capabilities & AM_SEEKING_CanDoSegments) != 0;
        HRESULT sought = E_FAIL;
        {
            const PausedGraph paused(m_pMediaControl, m_lock, m_playState);
            sought = Inside::SeekRange(*this, seeking.Get());
        }
        if (item.IsDestroyed()) {
            return 0;
        }
        if (FAILED(sought)) {
            pace.end = 0;
            return 0;
        }
        Inside::StartEvents(*this);
        return 1;
    });
}

/// To the beginning of the range, up to its end. As a segment where the source has those.
HRESULT CMedia::Inside::SeekRange(CMedia& media, IMediaSeeking* seeking) {
    Pace& pace = media.m_inside->pace;
    const auto seek = [&] {
        return SeekInUnits(
            seeking, media.m_videoOriginalAvgFrameTime, E_FAIL, [&](std::int64_t unit, TimeFormat) {
                LONGLONG first = pace.start / unit;
                LONGLONG stop = pace.end / unit;
                return seeking->SetPositions(&first,
                                             AM_SEEKING_AbsolutePositioning |
                                                 (pace.isSegment ? DWORD{AM_SEEKING_Segment} : 0),
                                             &stop, AM_SEEKING_AbsolutePositioning);
            });
    };
    pace.origin = pace.start;
    const HRESULT sought = seek();
    if (SUCCEEDED(sought) || !pace.isSegment) {
        return sought;
    }
    pace.isSegment = false;
    return seek();
}

/// On the event thread: the source begins the range again behind what it has sent, so that the
/// stream time goes on. A manager that is asked for that may begin it anew.
bool CMedia::Inside::RepeatSegment(CMedia& media) {
    const Pace& pace = media.m_inside->pace;
    return SUCCEEDED(OnSourcePins(media.m_pSourceFilter, [&](IMediaSeeking& pin) {
        LONGLONG first = pace.start;
        LONGLONG stop = pace.end;
        return pin.SetPositions(
            &first, AM_SEEKING_AbsolutePositioning | AM_SEEKING_Segment | AM_SEEKING_NoFlush, &stop,
            AM_SEEKING_AbsolutePositioning);
    }));
}

} // namespace ymdshow
