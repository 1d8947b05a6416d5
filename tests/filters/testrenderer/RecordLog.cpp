#include "testrenderer/RecordLog.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "Formats.h"
#include "FramePattern.h"

namespace ymfilters {

namespace {

/// The frequency of the first channel, from its first upward zero crossing to its last.
double Frequency(const std::int16_t* samples, std::size_t count, const WAVEFORMATEX& format) {
    const std::size_t step = format.nChannels;
    double first = -1;
    double last = -1;
    int periods = -1;
    for (std::size_t i = step; i < count; i += step) {
        const int before = samples[i - step];
        const int after = samples[i];
        if (before < 0 && after >= 0) {
            last = static_cast<double>(i / step) -
                   static_cast<double>(after) / static_cast<double>(after - before);
            first = first < 0 ? last : first;
            ++periods;
        }
    }
    return periods > 0 ? periods * static_cast<double>(format.nSamplesPerSec) / (last - first) : 0;
}

void DescribeSound(const BYTE* data, long bytes, const WAVEFORMATEX& format, TestRecord& record) {
    const auto* const samples = reinterpret_cast<const std::int16_t*>(data);
    const std::size_t count = static_cast<std::size_t>(bytes) / sizeof(std::int16_t);
    for (std::size_t i = 0; i < count; ++i) {
        record.peak = std::max<LONG>(record.peak, std::abs(static_cast<int>(samples[i])));
    }
    record.frequency = Frequency(samples, count, format);
}

} // namespace

void RecordLog::Append(const TestRecord& record) {
    const std::lock_guard lock(m_mutex);
    m_records.push_back(record);
    ++m_counts[static_cast<std::size_t>(record.kind)];
    m_changed.notify_all();
}

void RecordLog::Clear() {
    const std::lock_guard lock(m_mutex);
    m_records.clear();
    m_counts.fill(0);
}

ULONG RecordLog::Count() const {
    const std::lock_guard lock(m_mutex);
    return static_cast<ULONG>(m_records.size());
}

ULONG RecordLog::Copy(ULONG first, ULONG count, TestRecord* out) const {
    const std::lock_guard lock(m_mutex);
    const auto size = static_cast<ULONG>(m_records.size());
    const ULONG copied = first < size ? std::min(count, size - first) : 0;
    std::copy_n(m_records.begin() + static_cast<std::ptrdiff_t>(std::min(first, size)), copied,
                out);
    return copied;
}

bool RecordLog::WaitFor(TestRecord::Kind kind, ULONG count, DWORD milliseconds) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                              [&] { return m_counts[static_cast<std::size_t>(kind)] >= count; });
}

LONGLONG WallTime() {
    LARGE_INTEGER frequency{};
    LARGE_INTEGER now{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return static_cast<LONGLONG>(static_cast<double>(now.QuadPart) * 1e7 /
                                 static_cast<double>(frequency.QuadPart));
}

TestRecord NewRecord(TestRecord::Kind kind) {
    TestRecord record{};
    record.kind = kind;
    record.frame = -1;
    record.rate = 1;
    record.wall = WallTime();
    return record;
}

TestRecord DescribeSample(IMediaSample& sample, const AM_MEDIA_TYPE& type) {
    TestRecord record = NewRecord(TestRecord::Sample);
    record.bytes = sample.GetActualDataLength();
    record.hasTimes = SUCCEEDED(sample.GetTime(&record.start, &record.stop)) ? TRUE : FALSE;
    const auto flag = [](HRESULT answer, DWORD bit) { return answer == S_OK ? bit : 0; };
    record.flags = flag(sample.IsDiscontinuity(), AM_SAMPLE_DATADISCONTINUITY) |
                   flag(sample.IsPreroll(), AM_SAMPLE_PREROLL) |
                   flag(sample.IsSyncPoint(), AM_SAMPLE_SPLICEPOINT);
    BYTE* data = nullptr;
    if (FAILED(sample.GetPointer(&data)) || data == nullptr) {
        return record;
    }
    PictureFormat picture{};
    if (const WAVEFORMATEX* const sound = ReadPcmFormat(type)) {
        DescribeSound(data, record.bytes, *sound, record);
    } else if (ReadPictureFormat(type, picture) &&
               static_cast<std::size_t>(record.bytes) >=
                   DibStride(picture.width, picture.bits) *
                       static_cast<std::size_t>(picture.height)) {
        record.frame =
            ReadFrameNumber(picture.width, picture.height, picture.bits, picture.isBottomUp, data);
    }
    return record;
}

} // namespace ymfilters
