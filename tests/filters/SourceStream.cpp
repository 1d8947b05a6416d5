#include "SourceStream.h"

#include <wrl/client.h>

#include <cmath>
#include <numbers>
#include <utility>

#include "Clsids.h"
#include "Formats.h"
#include "FramePattern.h"

namespace ymfilters {

SourceStream::SourceStream(Filter& filter, std::wstring name, const Clip& clip, Segment& segment,
                           std::vector<int> tones)
    : OutputPin(filter, std::move(name)), m_clip(clip), m_tones(std::move(tones)),
      m_segment(segment) {}

bool SourceStream::PreferredType(unsigned index, ymdshow::MediaType& type) {
    type = IsVideo() ? VideoType(m_clip.isCoded != 0 ? MEDIASUBTYPE_TestCoded : MEDIASUBTYPE_RGB32,
                                 m_clip.width, m_clip.height, UnitTime(1))
                     : PcmType(m_clip.samplingRate);
    return index == 0;
}

// A renderer that wants another stride or the rows the other way round is refused.
HRESULT SourceStream::CheckType(const AM_MEDIA_TYPE& type) {
    ymdshow::MediaType own;
    PreferredType(0, own);
    return CheckSameType(type, own.Get());
}

ALLOCATOR_PROPERTIES SourceStream::BufferNeeds() const {
    return {4, static_cast<long>(UnitsInASample() * static_cast<long>(Type().lSampleSize)), 1, 0};
}

HRESULT STDMETHODCALLTYPE SourceStream::SetPositions(LONGLONG* current, DWORD currentFlags,
                                                     LONGLONG* stop, DWORD stopFlags) {
    const DWORD start = currentFlags & AM_SEEKING_PositioningBitsMask;
    const DWORD end = stopFlags & AM_SEEKING_PositioningBitsMask;
    if (start > AM_SEEKING_AbsolutePositioning || end > AM_SEEKING_AbsolutePositioning) {
        return E_INVALIDARG;
    }
    LONGLONG last = m_segment.stop;
    if (end != AM_SEEKING_NoPositioning) {
        last = std::clamp<LONGLONG>(*stop, 0, m_clip.duration);
    }
    if (start != AM_SEEKING_NoPositioning) {
        Seek(std::clamp<LONGLONG>(*current, 0, m_clip.duration), last);
    } else {
        m_segment.stop = last; // of what starts next
    }
    return S_OK;
}

HRESULT SourceStream::Activate() {
    const HRESULT hr = OutputPin::Activate();
    if (SUCCEEDED(hr)) {
        const std::lock_guard lock(m_seekMutex);
        m_isExiting = false;
        m_thread = std::thread([this] { Work(); });
        // Zero when the filter leaves the stopped state; a pin connected while the others
        // play begins where they are.
        Start(m_segment.start + Owner().StreamTime());
    }
    return hr;
}

void SourceStream::Deactivate() {
    const std::lock_guard lock(m_seekMutex);
    m_isInterrupted = true;
    OutputPin::Deactivate();
    if (m_thread.joinable()) {
        Await(State::Parked, State::Parked);
        m_isExiting = true;
        Await(State::Parked, State::Wanted);
        m_thread.join();
    }
}

// The peer may hold the thread until it is flushed.
void SourceStream::OnLiveDisconnect() {
    m_isInterrupted = true;
    DeliverBeginFlush();
    Deactivate();
    DeliverEndFlush();
}

void SourceStream::Seek(LONGLONG start, LONGLONG stop) {
    const std::lock_guard lock(m_seekMutex);
    const bool isActive = m_thread.joinable();
    if (isActive) {
        m_isInterrupted = true;
        DeliverBeginFlush();
        Await(State::Parked, State::Parked);
    }
    m_segment.start = m_position = start;
    m_segment.stop = stop;
    Owner().ResetStreamTime();
    if (isActive) {
        DeliverEndFlush();
        Start(start);
    }
}

void SourceStream::Start(LONGLONG from) {
    m_position = from;
    m_isInterrupted = false;
    Await(State::Parked, State::Wanted);
}

void SourceStream::Work() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    for (Await(State::Wanted, State::Playing); !m_isExiting;) {
        Play(m_segment.start, m_segment.stop, UnitAt(m_position));
        Await(State::Playing, State::Parked);
        Await(State::Wanted, State::Playing);
    }
    CoUninitialize();
    Await(State::Playing, State::Parked);
}

/// Waits until it is in a state, and then brings it to another.
void SourceStream::Await(State state, State next) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_state == state; });
    m_state = next;
    m_changed.notify_all();
}

void SourceStream::Play(LONGLONG start, LONGLONG stop, LONGLONG next) {
    DeliverNewSegment(start, stop, 1);
    HRESULT hr = S_OK;
    for (bool isFirst = true; hr == S_OK && UnitTime(next) < stop; isFirst = false) {
        hr = PlaySample(start, stop, next, isFirst);
    }
    if (hr == S_OK && !m_isInterrupted) {
        DeliverEndOfStream();
    }
}

HRESULT SourceStream::PlaySample(LONGLONG origin, LONGLONG end, LONGLONG& next, bool isFirst) {
    Microsoft::WRL::ComPtr<IMediaSample> sample;
    BYTE* data = nullptr;
    HRESULT hr = GetBuffer(&sample);
    if (FAILED(hr) || FAILED(hr = sample->GetPointer(&data))) {
        return hr;
    }
    REFERENCE_TIME start = UnitTime(next) - origin;
    long size = static_cast<long>(Type().lSampleSize);
    if (IsVideo()) {
        if (m_clip.isCoded != 0) {
            *reinterpret_cast<DWORD*>(data) = static_cast<DWORD>(next);
        } else {
            PaintFrame(static_cast<std::uint32_t>(next), m_clip.width, m_clip.height,
                       reinterpret_cast<std::uint32_t*>(data));
        }
        ++next;
    } else {
        // The unit at the stop position is the first that is not played.
        const LONGLONG rest = UnitAt(end - 1) + 1 - next;
        const LONGLONG count = std::clamp<LONGLONG>(rest, 1, UnitsInASample());
        size = FillSound(reinterpret_cast<std::int16_t*>(data), next, count);
        next += count;
    }
    REFERENCE_TIME stop = UnitTime(next) - origin;
    sample->SetActualDataLength(size);
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(isFirst ? TRUE : FALSE);
    m_position = UnitTime(next);
    return m_isInterrupted ? S_FALSE : Deliver(*sample.Get());
}

/// A sine's phase is its position's, so that a stream sounds the same wherever it was entered.
long SourceStream::FillSound(std::int16_t* out, LONGLONG first, LONGLONG count) const {
    const double amplitude = 16000.0 / static_cast<double>(m_tones.size());
    for (LONGLONG unit = first; unit < first + count; ++unit) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(unit) / m_clip.samplingRate;
        double value = 0;
        for (std::size_t tone = 0; tone < m_tones.size(); ++tone) {
            value += (enabled >> tone & 1U) != 0 ? amplitude * std::sin(turn * m_tones[tone]) : 0;
        }
        out = std::fill_n(out, 2, static_cast<std::int16_t>(std::lround(value)));
    }
    return static_cast<long>(count * 4);
}

} // namespace ymfilters
