#pragma once

#include <windows.h>

#include <dshow.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "ITestRecorder.h"

namespace ymfilters {

/// A list of records that threads may wait on.
class RecordLog {
public:
    void Append(const TestRecord& record);
    void Clear();
    ULONG Count() const;

    /// Copies up to `count` records from number `first` on and answers how many.
    ULONG Copy(ULONG first, ULONG count, TestRecord* out) const;

    /// False when the time is up before there are `count` records of a kind.
    bool WaitFor(TestRecord::Kind kind, ULONG count, DWORD milliseconds);

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<TestRecord> m_records;
    std::array<ULONG, TestRecord::KindCount> m_counts{};
};

/// The system's time from its performance counter, in 100 ns units.
LONGLONG WallTime();

/// An empty record of a kind, made now.
TestRecord NewRecord(TestRecord::Kind kind);

/// A record of a sample of a stream of a type: its times, flags and contents.
TestRecord DescribeSample(IMediaSample& sample, const AM_MEDIA_TYPE& type);

} // namespace ymfilters
