#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "ITestRecorder.h"
#include "base/Formats.h"
#include "base/InputPin.h"
#include "base/SeekingPassThrough.h"
#include "pattern/FramePattern.h"

namespace ymfilters {

namespace {

using Ticks = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

/// The frequency of the first channel, from its first upward zero crossing to its last.
double Frequency(const std::int16_t* samples, int count, const WAVEFORMATEX& format) {
    double first = -1;
    double last = -1;
    int periods = -1;
    for (int i = 1; i < count; ++i) {
        const int before = samples[(i - 1) * format.nChannels];
        const int after = samples[i * format.nChannels];
        if (before < 0 && after >= 0) {
            last = i - static_cast<double>(after) / (after - before);
            first = first < 0 ? last : first;
            ++periods;
        }
    }
    return periods > 0 ? periods * static_cast<double>(format.nSamplesPerSec) / (last - first) : 0;
}

TestRecord Describe(IMediaSample& sample, const AM_MEDIA_TYPE& type) {
    TestRecord record{TestRecord::Sample};
    sample.GetTime(&record.start, &record.stop);
    BYTE* data = nullptr;
    sample.GetPointer(&data);
    if (const WAVEFORMATEX* const sound = ReadPcm(type)) {
        record.frequency = Frequency(reinterpret_cast<const std::int16_t*>(data),
                                     sample.GetActualDataLength() / (2 * sound->nChannels), *sound);
    } else if (const VIDEOINFOHEADER* const picture = ReadVideo(type)) {
        record.frame = ReadFrameNumber(picture->bmiHeader.biWidth, picture->bmiHeader.biHeight,
                                       reinterpret_cast<const std::uint32_t*>(data));
    }
    return record;
}

/// Renders into a list of records. Holds the first sample while paused, takes samples at
/// their times while running, and tells the graph when its stream is complete.
class TestRenderer : public Filter, public ITestRecorder {
public:
    TestRenderer(const CLSID& clsid, const GUID& majorType)
        : Filter(clsid), m_majorType(majorType) {
        SetPins({&m_pin});
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Filter::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Filter::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Filter::Release(); }

    HRESULT STDMETHODCALLTYPE GetCount(ULONG* count) override {
        const std::lock_guard lock(m_mutex);
        *count = static_cast<ULONG>(m_records.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetRecords(ULONG first, ULONG count, TestRecord* records,
                                         ULONG*) override {
        const std::lock_guard lock(m_mutex);
        ULONG copied = 0;
        for (; copied < count && first + copied < m_records.size(); ++copied) {
            records[copied] = m_records[first + copied];
        }
        return copied == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Clear() override {
        const std::lock_guard lock(m_mutex);
        m_records.clear();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE WaitFor(LONG kind, ULONG count, DWORD milliseconds) override {
        const auto isThere = [&] {
            const auto isIt = [=](const TestRecord& record) { return record.kind == kind; };
            return std::count_if(m_records.begin(), m_records.end(), isIt) >= int(count);
        };
        std::unique_lock lock(m_mutex);
        const std::chrono::milliseconds most(milliseconds);
        return m_changed.wait_for(lock, most, isThere) ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE SetLiveConnect(BOOL isOn) override {
        m_isLiveConnectable = isOn != FALSE;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override {
        {
            const std::lock_guard lock(m_mutex);
            m_clock = clock;
            m_changed.notify_all();
        }
        return Filter::SetSyncSource(clock);
    }

protected:
    void* Interface(REFIID iid) override {
        if (iid == __uuidof(ITestRecorder)) {
            return static_cast<ITestRecorder*>(this);
        }
        return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(&m_seeking)
                                        : Filter::Interface(iid);
    }

    void OnDeactivate() override {
        Filter::OnDeactivate();
        const std::lock_guard lock(m_mutex);
        m_isRunning = false;
        m_changed.notify_all();
    }

    HRESULT OnPause() override {
        const std::lock_guard lock(m_mutex);
        m_isRunning = false;
        m_isCompleteSent = false;
        m_changed.notify_all();
        return S_OK;
    }

    HRESULT OnRun() override {
        std::unique_lock lock(m_mutex);
        m_base = StartTime();
        m_isRunning = true;
        m_changed.notify_all();
        // The graph waits for every renderer, so one without a stream is complete at once.
        if (!m_isStreaming || m_hasEnded) {
            SendComplete(lock);
        }
        return S_OK;
    }

    bool IsStateReached(DWORD timeout) override {
        // What may also be INFINITE overflows as a duration.
        const std::chrono::milliseconds most(std::min<DWORD>(timeout, 3'600'000));
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, most, [this] {
            return !m_isStreaming || m_isRunning || m_hasEnded || m_isShown;
        });
    }

private:
    class Input final : public InputPin {
    public:
        explicit Input(TestRenderer& owner) : InputPin(owner, L"In"), m_owner(owner) {}

        HRESULT Activate() override {
            m_owner.BeginStream(true);
            return InputPin::Activate();
        }
        void Deactivate() override {
            InputPin::Deactivate();
            m_owner.BeginStream(false);
        }

    protected:
        HRESULT CheckType(const AM_MEDIA_TYPE& type) override {
            return type.majortype == m_owner.m_majorType ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
        }
        bool IsLiveConnectable() const override { return m_owner.m_isLiveConnectable; }

        // Nothing will come to its end here any more, and the graph waits for every renderer.
        void OnLiveDisconnect() override {
            Deactivate();
            std::unique_lock lock(m_owner.m_mutex);
            if (m_owner.m_isRunning) {
                m_owner.SendComplete(lock);
            }
        }
        HRESULT OnSample(IMediaSample& sample) override { return m_owner.Render(sample); }
        HRESULT OnEndOfStream() override { return m_owner.TakeEndOfStream(); }
        HRESULT OnBeginFlush() override { return m_owner.TakeFlush(); }
        HRESULT OnEndFlush() override { return m_owner.TakeFlush(); }
        HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double) override {
            const std::lock_guard lock(m_owner.m_mutex);
            m_owner.m_segmentStart = start;
            m_owner.m_end = 0;
            m_owner.Append({.kind = TestRecord::NewSegment, .start = start, .stop = stop});
            return S_OK;
        }

    private:
        TestRenderer& m_owner;
    };

    /// Another epoch: whatever waits in the old one is cancelled.
    void BeginEpoch() {
        ++m_epoch;
        m_isShown = m_hasEnded = m_isCompleteSent = false;
        m_end = 0;
        m_changed.notify_all();
    }

    void BeginStream(bool isStreaming) {
        const std::lock_guard lock(m_mutex);
        m_isStreaming = isStreaming;
        BeginEpoch();
    }

    HRESULT TakeFlush() {
        const std::lock_guard lock(m_mutex);
        BeginEpoch();
        return S_OK;
    }

    void Append(TestRecord record) {
        record.segmentStart = m_segmentStart;
        record.wall =
            std::chrono::duration_cast<Ticks>(std::chrono::steady_clock::now().time_since_epoch())
                .count();
        m_records.push_back(record);
        m_changed.notify_all();
    }

    HRESULT Render(IMediaSample& sample) {
        const TestRecord record = Describe(sample, m_pin.Type());
        std::unique_lock lock(m_mutex);
        // A flush may have begun since the pin let the sample in; a later one ends the epoch.
        if (!m_isStreaming || m_pin.IsFlushing()) {
            return S_FALSE;
        }
        const unsigned epoch = m_epoch;
        Wait wait = WaitUntil(record.start, epoch, lock);
        for (; wait == Wait::Paused; wait = WaitUntil(record.start, epoch, lock)) {
            if (!std::exchange(m_isShown, true)) {
                Append(record);
            }
            m_changed.wait(lock);
        }
        if (wait == Wait::Cancelled) {
            return S_FALSE;
        }
        if (!std::exchange(m_isShown, false)) {
            Append(record);
        }
        m_end = record.stop;
        return S_OK;
    }

    HRESULT TakeEndOfStream() {
        std::unique_lock lock(m_mutex);
        if (!m_isStreaming || m_pin.IsFlushing()) {
            return S_FALSE;
        }
        m_hasEnded = true;
        m_changed.notify_all();
        // The stream is complete when its last sample is over. A pause leaves that to Run.
        if (WaitUntil(m_end, m_epoch, lock) == Wait::Due) {
            SendComplete(lock);
        }
        return S_OK;
    }

    void SendComplete(std::unique_lock<std::mutex>& lock) {
        if (!std::exchange(m_isCompleteSent, true)) {
            lock.unlock();
            Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
        }
    }

    /// Waits until it is `time` in the stream; at once without a clock.
    enum class Wait { Due, Paused, Cancelled };
    Wait WaitUntil(REFERENCE_TIME time, unsigned epoch, std::unique_lock<std::mutex>& lock) {
        while (m_epoch == epoch && m_isRunning) {
            REFERENCE_TIME now = 0;
            if (!m_clock || FAILED(m_clock->GetTime(&now)) || now >= m_base + time) {
                return Wait::Due;
            }
            m_changed.wait_for(lock, Ticks(m_base + time - now));
        }
        return m_epoch == epoch ? Wait::Paused : Wait::Cancelled;
    }

    const GUID m_majorType;
    Input m_pin{*this};
    SeekingPassThrough m_seeking{*static_cast<IBaseFilter*>(this), m_pin};
    std::atomic<bool> m_isLiveConnectable{false};

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::vector<TestRecord> m_records;
    Microsoft::WRL::ComPtr<IReferenceClock> m_clock;
    REFERENCE_TIME m_base = 0; // clock time of stream time 0
    bool m_isStreaming = false;
    bool m_isRunning = false;
    bool m_isShown = false;        // the sample that waits is on record
    bool m_hasEnded = false;       // the stream's end has arrived
    bool m_isCompleteSent = false; // and has been reported for this run
    unsigned m_epoch = 0;          // a flush or a stop ends it
    REFERENCE_TIME m_end = 0;      // stream time at which the last sample ends
    REFERENCE_TIME m_segmentStart = 0;
};

template <const CLSID& kClsid, const GUID& kMajorType> struct RendererOf final : TestRenderer {
    RendererOf() : TestRenderer(kClsid, kMajorType) {}
};

constexpr ymdshow::ClassObject kClasses[] = {
    {&CLSID_TestVideoRenderer, L"Test Video Renderer",
     &Create<RendererOf<CLSID_TestVideoRenderer, MEDIATYPE_Video>>},
    {&CLSID_TestAudioRenderer, L"Test Audio Renderer",
     &Create<RendererOf<CLSID_TestAudioRenderer, MEDIATYPE_Audio>>},
};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
