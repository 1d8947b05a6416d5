#include "testsource/SourceStream.h"

#include <algorithm>
#include <chrono>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace ymfilters {

SourceStream::SourceStream(Filter& filter, std::wstring name, const Clip& clip,
                           SharedSegment& shared)
    : OutputPin(filter, std::move(name)), m_clip(clip), m_shared(shared) {
    m_segment = shared.Get();
    m_stop = m_segment.stop;
}

SourceStream::~SourceStream() = default;

HRESULT SourceStream::Activate() {
    const HRESULT hr = OutputPin::Activate();
    if (FAILED(hr)) {
        return hr;
    }
    const std::lock_guard seek(m_seekMutex);
    const Segment segment = m_shared.Get();
    // Zero when the filter leaves the stopped state; a pin connected while the others play
    // begins where they are, with their segment.
    const auto elapsed = static_cast<double>(Owner().StreamTime()) * segment.rate;
    {
        const std::lock_guard lock(m_mutex);
        m_segment = segment;
        m_stop = segment.stop;
        m_isExiting = false;
        m_isParked = false;
    }
    m_thread = std::thread([this] { Work(); });
    StartRun(segment.start + static_cast<LONGLONG>(elapsed));
    return S_OK;
}

void SourceStream::Deactivate() {
    const std::lock_guard seek(m_seekMutex);
    if (m_thread.joinable()) {
        Interrupt();
        {
            const std::lock_guard lock(m_mutex);
            m_isExiting = true;
        }
        m_changed.notify_all();
        OutputPin::Deactivate();
        m_thread.join();
    }
    OutputPin::Deactivate();
}

// The peer may hold the thread until it is flushed.
void SourceStream::OnLiveDisconnect() {
    DeliverBeginFlush();
    Deactivate();
    DeliverEndFlush();
}

double SourceStream::OwnRate() {
    const std::lock_guard lock(m_mutex);
    return m_segment.rate;
}

void SourceStream::Interrupt() {
    const std::lock_guard lock(m_mutex);
    m_isInterrupted = true;
    m_changed.notify_all();
}

void SourceStream::WaitUntilParked() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isParked; });
}

void SourceStream::StartRun(LONGLONG from) {
    const std::lock_guard lock(m_mutex);
    m_from = from;
    m_position = from;
    m_isInterrupted = false;
    m_isRunWanted = true;
    m_isParked = false;
    m_changed.notify_all();
}

void SourceStream::Seek(const Segment& segment) {
    const std::lock_guard seek(m_seekMutex);
    const bool isActive = m_thread.joinable();
    if (isActive) {
        Interrupt();
        DeliverBeginFlush();
        WaitUntilParked();
    }
    {
        const std::lock_guard lock(m_mutex);
        m_segment = segment;
        m_stop = segment.stop;
        m_position = segment.start;
    }
    m_shared.Set(segment);
    Owner().ResetStreamTime();
    if (isActive) {
        DeliverEndFlush();
        StartRun(segment.start);
    }
}

void SourceStream::Work() {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::unique_lock lock(m_mutex);
    while (!m_isExiting) {
        if (!m_isRunWanted) {
            m_isParked = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_isRunWanted || m_isExiting; });
            continue;
        }
        m_isRunWanted = false;
        const Segment segment = m_segment;
        const LONGLONG from = m_from;
        lock.unlock();
        Play(segment, from);
        lock.lock();
    }
    m_isRunWanted = false;
    m_isParked = true;
    m_changed.notify_all();
    lock.unlock();
    if (SUCCEEDED(com)) {
        CoUninitialize();
    }
}

void SourceStream::Play(Segment segment, LONGLONG from) {
    DeliverNewSegment(segment.start, segment.stop, segment.rate);
    const HRESULT hr = PlayUnits(segment, from);
    if (m_isInterrupted || hr == S_FALSE || hr == VFW_E_WRONG_STATE || hr == VFW_E_NOT_COMMITTED) {
        return;
    }
    if (FAILED(hr)) {
        Owner().Notify(EC_ERRORABORT, hr, 0);
    }
    DeliverEndOfStream();
}

/// S_OK at the end of the segment; S_FALSE when downstream wants no more.
HRESULT SourceStream::PlayUnits(const Segment& segment, LONGLONG from) {
    if (!Sleep(m_clip.startDelay)) {
        return S_FALSE;
    }
    LONGLONG next = UnitAt(from);
    for (bool isFirst = true; UnitTime(next) < m_stop; isFirst = false) {
        if (!Sleep(m_clip.sampleDelay)) {
            return S_FALSE;
        }
        if (m_clip.breakAt >= 0 && UnitTime(next) >= m_clip.breakAt) {
            return HRESULT_FROM_WIN32(ERROR_READ_FAULT);
        }
        const HRESULT hr = PlayUnit(segment, next, isFirst);
        if (hr != S_OK) {
            return hr;
        }
        m_position = std::min<LONGLONG>(UnitTime(next), m_stop);
    }
    return S_OK;
}

HRESULT SourceStream::PlayUnit(const Segment& segment, LONGLONG& next, bool isFirst) {
    ComPtr<IMediaSample> sample;
    HRESULT hr = GetBuffer(&sample);
    if (FAILED(hr)) {
        return hr;
    }
    LONGLONG first = next;
    hr = Fill(*sample.Get(), next, m_stop);
    if (FAILED(hr)) {
        return hr;
    }
    const auto toStream = [&](LONGLONG time) {
        return static_cast<REFERENCE_TIME>(static_cast<double>(time - segment.start) /
                                           segment.rate);
    };
    REFERENCE_TIME start = toStream(UnitTime(first));
    REFERENCE_TIME stop = toStream(UnitTime(next));
    sample->SetTime(&start, &stop);
    LONGLONG last = next;
    sample->SetMediaTime(&first, &last);
    sample->SetSyncPoint(TRUE);
    sample->SetPreroll(FALSE);
    sample->SetDiscontinuity(isFirst ? TRUE : FALSE);
    return m_isInterrupted ? S_FALSE : Deliver(*sample.Get());
}

/// False when it was interrupted.
bool SourceStream::Sleep(DWORD milliseconds) {
    if (milliseconds > 0) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                           [this] { return m_isInterrupted || m_isExiting; });
    }
    return !m_isInterrupted;
}

} // namespace ymfilters
