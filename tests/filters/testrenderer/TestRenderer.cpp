#include "testrenderer/TestRenderer.h"

#include <chrono>

#include "Clsids.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

RendererPin::RendererPin(TestRenderer& renderer)
    : InputPin(renderer, L"In"), m_renderer(renderer) {}

HRESULT RendererPin::Activate() {
    m_renderer.BeginStream();
    return InputPin::Activate();
}

void RendererPin::Deactivate() {
    InputPin::Deactivate();
    m_renderer.EndStream();
}

HRESULT RendererPin::CheckType(const AM_MEDIA_TYPE& type) {
    const GUID& wanted = m_renderer.m_majorType;
    const bool isTaken =
        wanted == GUID_NULL ? type.majortype == MEDIATYPE_Video || type.majortype == MEDIATYPE_Audio
                            : type.majortype == wanted;
    return isTaken && type.subtype != MEDIASUBTYPE_TestCoded ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

bool RendererPin::IsLiveConnectable() const {
    return m_renderer.m_isLiveConnectable;
}

void RendererPin::OnLiveDisconnect() {
    Deactivate();
    m_renderer.LoseStream();
}

HRESULT RendererPin::OnSample(IMediaSample& sample) {
    return m_renderer.Render(sample);
}
HRESULT RendererPin::OnEndOfStream() {
    return m_renderer.TakeEndOfStream();
}

HRESULT RendererPin::OnBeginFlush() {
    m_renderer.BeginFlush();
    return S_OK;
}

HRESULT RendererPin::OnEndFlush() {
    m_renderer.EndFlush();
    return S_OK;
}

HRESULT RendererPin::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    m_renderer.TakeSegment(start, stop, rate);
    return S_OK;
}

TestRenderer::TestRenderer(const CLSID& clsid, const GUID& majorType)
    : Filter(clsid), m_majorType(majorType), m_pin(*this),
      m_seeking(*static_cast<IBaseFilter*>(this), m_pin),
      m_wake(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_due(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    SetPins({&m_pin});
}

TestRenderer::~TestRenderer() {
    CloseHandle(m_wake);
    CloseHandle(m_due);
}

HRESULT STDMETHODCALLTYPE TestRenderer::QueryInterface(REFIID iid, void** out) {
    return Filter::QueryInterface(iid, out);
}
ULONG STDMETHODCALLTYPE TestRenderer::AddRef() {
    return Filter::AddRef();
}
ULONG STDMETHODCALLTYPE TestRenderer::Release() {
    return Filter::Release();
}

void* TestRenderer::Interface(REFIID iid) {
    if (iid == IID_ITestRecorder) {
        return static_cast<ITestRecorder*>(this);
    }
    if (iid == IID_IAMFilterMiscFlags) {
        return static_cast<IAMFilterMiscFlags*>(this);
    }
    return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(&m_seeking)
                                    : Filter::Interface(iid);
}

ULONG STDMETHODCALLTYPE TestRenderer::GetMiscFlags() {
    return AM_FILTER_MISC_FLAGS_IS_RENDERER;
}

// --- States ---------------------------------------------------------------------

HRESULT TestRenderer::OnActivate() {
    {
        const std::lock_guard lock(m_mutex);
        m_isReady = !m_pin.IsConnected();
    }
    return Filter::OnActivate();
}

HRESULT STDMETHODCALLTYPE TestRenderer::Stop() {
    const std::lock_guard lock(Lock());
    const bool wasStopped = State() == State_Stopped;
    const HRESULT hr = Filter::Stop();
    const std::lock_guard streaming(m_mutex);
    m_isRunning = false;
    if (!wasStopped) {
        Append(NewRecord(TestRecord::Stopped));
    }
    return hr;
}

HRESULT TestRenderer::OnPause() {
    const std::lock_guard lock(m_mutex);
    if (m_isRunning) {
        m_isReady = !m_pin.IsConnected() || m_hasEnded || m_isHolding;
    }
    m_isRunning = false;
    m_isCompleteSent = false;
    Append(NewRecord(TestRecord::Paused));
    SetEvent(m_wake);
    return S_OK;
}

HRESULT TestRenderer::OnRun() {
    bool isComplete = false;
    {
        const std::lock_guard lock(m_mutex);
        m_base = StartTime();
        m_isRunning = true;
        m_isReady = true;
        m_changed.notify_all();
        Append(NewRecord(TestRecord::Running));
        // The graph waits for every renderer, so one without a stream is complete at once.
        isComplete = !m_pin.IsConnected() || m_hasEnded;
        SetEvent(m_wake);
    }
    if (isComplete) {
        SendComplete();
    }
    return S_OK;
}

bool TestRenderer::IsStateReached(DWORD timeout) {
    std::unique_lock lock(m_mutex);
    const auto isReady = [this] { return m_isReady; };
    if (timeout == INFINITE) {
        m_changed.wait(lock, isReady);
        return true;
    }
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeout), isReady);
}

HRESULT STDMETHODCALLTYPE TestRenderer::SetSyncSource(IReferenceClock* clock) {
    {
        const std::lock_guard lock(m_mutex);
        m_clock = clock;
        SetEvent(m_wake);
    }
    return Filter::SetSyncSource(clock);
}

// --- Streaming ------------------------------------------------------------------

void TestRenderer::BeginStream() {
    const std::lock_guard lock(m_mutex);
    m_isStreaming = true;
    m_hasEnded = false;
    m_isCompleteSent = false;
    m_isReady = m_isRunning;
    m_end = 0;
}

void TestRenderer::EndStream() {
    const std::lock_guard lock(m_mutex);
    m_isStreaming = false;
    m_isReady = true;
    ++m_epoch;
    m_changed.notify_all();
    SetEvent(m_wake);
}

// Disconnected while the graph is active: nothing will come to its end here any more, and
// the graph waits for every renderer.
void TestRenderer::LoseStream() {
    bool isRunning = false;
    {
        const std::lock_guard lock(m_mutex);
        isRunning = m_isRunning;
    }
    if (isRunning) {
        SendComplete();
    }
}

void TestRenderer::Append(TestRecord record) {
    record.segmentStart = m_segmentStart;
    record.rate = m_segmentRate;
    m_log.Append(record);
}

HRESULT TestRenderer::Render(IMediaSample& sample) {
    if (m_isBroken) {
        return E_FAIL;
    }
    TestRecord record = DescribeSample(sample, m_pin.Type());
    std::unique_lock lock(m_mutex);
    // A flush may have begun since the pin let the sample in; a later one ends the epoch.
    if (!m_isStreaming || m_pin.IsFlushing()) {
        return S_FALSE;
    }
    const unsigned epoch = m_epoch;
    m_isHolding = true;
    bool isShown = false;
    const auto show = [&] {
        if (!isShown) {
            record.wall = WallTime();
            record.isPaused = m_isRunning ? FALSE : TRUE;
            Append(record);
            isShown = true;
        }
    };
    Wait wait = Wait::Paused;
    while (wait == Wait::Paused) {
        wait = WaitUntil(record.hasTimes ? record.start : 0, epoch, lock);
        if (wait == Wait::Paused) {
            show();
            m_isReady = true;
            m_changed.notify_all();
            SleepUntil(nullptr, lock);
        }
    }
    m_isHolding = false;
    if (wait == Wait::Cancelled) {
        return S_FALSE;
    }
    REFERENCE_TIME now = 0;
    if (m_clock && m_isSynchronised && record.hasTimes && SUCCEEDED(m_clock->GetTime(&now))) {
        record.lateness = now - m_base - record.start;
    }
    show();
    m_end = record.hasTimes ? record.stop : m_end;
    return S_OK;
}

/// Waits until it is `time` in the stream; at once without a clock.
TestRenderer::Wait TestRenderer::WaitUntil(REFERENCE_TIME time, unsigned epoch,
                                           std::unique_lock<std::mutex>& lock) {
    for (;;) {
        if (m_epoch != epoch) {
            return Wait::Cancelled;
        }
        if (!m_isRunning) {
            return Wait::Paused;
        }
        const ComPtr<IReferenceClock> clock = m_clock;
        REFERENCE_TIME now = 0;
        if (!clock || !m_isSynchronised || FAILED(clock->GetTime(&now)) || now >= m_base + time) {
            return Wait::Due;
        }
        DWORD_PTR cookie = 0;
        if (FAILED(clock->AdviseTime(m_base, time, reinterpret_cast<HEVENT>(m_due), &cookie))) {
            return Wait::Due;
        }
        SleepUntil(m_due, lock);
        clock->Unadvise(cookie);
    }
}

void TestRenderer::SleepUntil(HANDLE alsoOn, std::unique_lock<std::mutex>& lock) {
    const HANDLE handles[] = {m_wake, alsoOn};
    lock.unlock();
    WaitForMultipleObjects(alsoOn != nullptr ? 2 : 1, handles, FALSE, INFINITE);
    lock.lock();
}

HRESULT TestRenderer::TakeEndOfStream() {
    {
        std::unique_lock lock(m_mutex);
        if (!m_isStreaming || m_pin.IsFlushing()) {
            return S_FALSE;
        }
        Append(NewRecord(TestRecord::EndOfStream));
        m_hasEnded = true;
        m_isReady = true;
        m_changed.notify_all();
        // The stream is complete when its last sample is over. A pause leaves that to Run.
        if (WaitUntil(m_end, m_epoch, lock) != Wait::Due) {
            return S_OK;
        }
    }
    SendComplete();
    return S_OK;
}

void TestRenderer::SendComplete() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_isCompleteSent) {
            return;
        }
        m_isCompleteSent = true;
        Append(NewRecord(TestRecord::Complete));
    }
    Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
}

void TestRenderer::BeginFlush() {
    const std::lock_guard lock(m_mutex);
    ++m_epoch;
    m_isReady = m_isRunning;
    Append(NewRecord(TestRecord::BeginFlush));
    SetEvent(m_wake);
}

void TestRenderer::EndFlush() {
    const std::lock_guard lock(m_mutex);
    m_hasEnded = false;
    m_isCompleteSent = false;
    m_end = 0;
    Append(NewRecord(TestRecord::EndFlush));
}

void TestRenderer::TakeSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const std::lock_guard lock(m_mutex);
    m_segmentStart = start;
    m_segmentRate = rate;
    m_end = 0;
    TestRecord record = NewRecord(TestRecord::NewSegment);
    record.start = start;
    record.stop = stop;
    record.hasTimes = TRUE;
    Append(record);
}

// --- The record -------------------------------------------------------------------

HRESULT STDMETHODCALLTYPE TestRenderer::GetCount(ULONG* count) {
    if (count == nullptr) {
        return E_POINTER;
    }
    *count = m_log.Count();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestRenderer::GetRecords(ULONG first, ULONG count, TestRecord* records,
                                                   ULONG* fetched) {
    if (records == nullptr) {
        return E_POINTER;
    }
    const ULONG copied = m_log.Copy(first, count, records);
    if (fetched != nullptr) {
        *fetched = copied;
    }
    return copied == count ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE TestRenderer::Clear() {
    m_log.Clear();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestRenderer::WaitFor(LONG kind, ULONG count, DWORD milliseconds) {
    if (kind < 0 || kind >= TestRecord::KindCount) {
        return E_INVALIDARG;
    }
    return m_log.WaitFor(static_cast<TestRecord::Kind>(kind), count, milliseconds) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE TestRenderer::SetSync(BOOL isOn) {
    m_isSynchronised = isOn != FALSE;
    SetEvent(m_wake);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestRenderer::SetLiveConnect(BOOL isOn) {
    m_isLiveConnectable = isOn != FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TestRenderer::SetBroken(BOOL isOn) {
    m_isBroken = isOn != FALSE;
    return S_OK;
}

} // namespace ymfilters
