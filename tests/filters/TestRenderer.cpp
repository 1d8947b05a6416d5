#include <windows.h>

#include <dshow.h>
#include <dvdmedia.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "ITestRecorder.h"
#include "base/InputPin.h"
#include "base/SeekingPassThrough.h"
#include "pattern/FramePattern.h"

namespace ymfilters {

namespace {

constexpr GUID kSubtypeP010 = {0x30313050, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};

using Ticks = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

/// A sample's bytes as pictures or sound.
struct Layout {
    int left = 0; // of the part that is shown
    int top = 0;
    int width = 0; // in pixels; of sound: the channels
    int height = 0;
    int stride = 0;       // in bytes, from the first row that is in memory to the next; below 0:
    int step = 0;         // the last one is. From one pixel or sample of a channel to the next
    int offset = 0;       // of the byte that says how bright it is
    bool isFloat = false; // of sound
    int rate = 0;
};

struct PictureKind {
    const GUID& subtype;
    int step; // bytes from a brightness to the next
    int offset;
    int alignment;
} const kPictures[] = {
    {MEDIASUBTYPE_RGB32, 4, 1, 4}, {MEDIASUBTYPE_RGB24, 3, 1, 4}, {MEDIASUBTYPE_YUY2, 2, 0, 2},
    {MEDIASUBTYPE_NV12, 1, 0, 1},  {MEDIASUBTYPE_YV12, 1, 0, 1},  {kSubtypeP010, 2, 1, 2},
};

/// Nothing for what the renderer cannot read.
std::optional<Layout> Read(const AM_MEDIA_TYPE& type) {
    if (type.majortype == MEDIATYPE_Audio) {
        const auto* const format = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
        const bool isFloat = type.subtype == MEDIASUBTYPE_IEEE_FLOAT;
        if (type.formattype != FORMAT_WaveFormatEx || type.cbFormat < sizeof *format ||
            format->nChannels == 0 || (type.subtype != MEDIASUBTYPE_PCM && !isFloat)) {
            return std::nullopt;
        }
        return Layout{.width = format->nChannels,
                      .step = format->nBlockAlign / format->nChannels,
                      .isFloat = isFloat,
                      .rate = static_cast<int>(format->nSamplesPerSec)};
    }
    const bool isFirst =
        type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER);
    const bool isSecond =
        type.formattype == FORMAT_VideoInfo2 && type.cbFormat >= sizeof(VIDEOINFOHEADER2);
    const auto* const kind =
        std::find_if(std::begin(kPictures), std::end(kPictures),
                     [&](const PictureKind& picture) { return picture.subtype == type.subtype; });
    if (!(isFirst || isSecond) || kind == std::end(kPictures)) {
        return std::nullopt;
    }
    const BITMAPINFOHEADER& header =
        isFirst ? reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader
                : reinterpret_cast<const VIDEOINFOHEADER2*>(type.pbFormat)->bmiHeader;
    RECT part = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->rcSource;
    if (IsRectEmpty(&part)) {
        part = {0, 0, header.biWidth, std::abs(header.biHeight)};
    }
    const int stride = (header.biWidth * kind->step + kind->alignment - 1) & -kind->alignment;
    const bool isBottomUp = header.biCompression == BI_RGB && header.biHeight > 0;
    return Layout{.left = part.left,
                  .top = isBottomUp ? header.biHeight - 1 - part.top : part.top,
                  .width = part.right - part.left,
                  .height = part.bottom - part.top,
                  .stride = isBottomUp ? -stride : stride,
                  .step = kind->step,
                  .offset = kind->offset};
}

double Level(const BYTE* at, const Layout& layout) {
    if (layout.isFloat) {
        float value = 0;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    std::uint32_t value = 0;
    std::memcpy(reinterpret_cast<BYTE*>(&value) + 4 - layout.step, at,
                static_cast<std::size_t>(layout.step));
    return static_cast<std::int32_t>(value);
}

/// The frequency of the first channel, from its first upward zero crossing to its last.
double Frequency(const BYTE* data, int count, const Layout& layout) {
    double first = -1;
    double last = -1;
    int periods = -1;
    for (int i = 1; i < count; ++i) {
        const double before = Level(data + (i - 1) * layout.width * layout.step, layout);
        const double after = Level(data + i * layout.width * layout.step, layout);
        if (before < 0 && after >= 0) {
            last = i - after / (after - before);
            first = first < 0 ? last : first;
            ++periods;
        }
    }
    return periods > 0 ? periods * layout.rate / (last - first) : 0;
}

TestRecord Describe(IMediaSample& sample, const AM_MEDIA_TYPE& type) {
    TestRecord record{TestRecord::Sample};
    sample.GetTime(&record.start, &record.stop);
    BYTE* data = nullptr;
    sample.GetPointer(&data);
    const Layout layout = Read(type).value_or(Layout{});
    if (layout.rate != 0) {
        record.frequency =
            Frequency(data, sample.GetActualDataLength() / (layout.width * layout.step), layout);
    } else {
        record.frame = ReadFrameNumber(layout.width, layout.height, [&](int x, int y) {
            const int row = layout.stride < 0 ? layout.top - y : layout.top + y;
            return static_cast<int>(data[row * std::abs(layout.stride) +
                                         (layout.left + x) * layout.step + layout.offset]);
        });
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

    HRESULT STDMETHODCALLTYPE Accept(REFGUID subtype, REFGUID format) override {
        const std::lock_guard lock(m_mutex);
        m_subtype = subtype;
        m_format = format;
        m_isKeeping = true;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetLast(BYTE* buffer, ULONG* size) override {
        const std::lock_guard lock(m_mutex);
        std::copy_n(m_last.begin(), std::min<std::size_t>(*size, m_last.size()), buffer);
        *size = static_cast<ULONG>(m_last.size());
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
            const std::lock_guard lock(m_owner.m_mutex);
            const bool isTaken =
                (m_owner.m_subtype == GUID_NULL || type.subtype == m_owner.m_subtype) &&
                (m_owner.m_format == GUID_NULL || type.formattype == m_owner.m_format);
            return type.majortype == m_owner.m_majorType && isTaken && Read(type)
                       ? S_OK
                       : VFW_E_TYPE_NOT_ACCEPTED;
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
        if (BYTE* data = nullptr; m_isKeeping && SUCCEEDED(sample.GetPointer(&data))) {
            m_last.assign(data, data + sample.GetActualDataLength());
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
    GUID m_subtype = GUID_NULL;
    GUID m_format = GUID_NULL;
    bool m_isKeeping = false;
    std::vector<BYTE> m_last;
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
