// The reference clock and the schedule of its advises.

#include <gtest/gtest.h>

#include <wrl/client.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "BaseClasses/SystemClock.h"

namespace ymdshow {
namespace {

using Microsoft::WRL::ComPtr;

constexpr REFERENCE_TIME kMillisecond = 10'000;
constexpr REFERENCE_TIME kHour = 3600 * 1000 * kMillisecond;
constexpr REFERENCE_TIME kNever = AdviseScheduler::kNever;
constexpr DWORD kLongEnough = 60'000; // ms; only ever waited for in full by a failing test

/// An event or a semaphore.
class Signal {
public:
    explicit Signal(LONG maximum = 0)
        : m_handle(maximum == 0 ? CreateEventW(nullptr, FALSE, FALSE, nullptr)
                                : CreateSemaphoreW(nullptr, 0, maximum, nullptr)) {}
    Signal(Signal&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    ~Signal() { CloseHandle(m_handle); }
    HANDLE Get() const { return m_handle; }
    operator HEVENT() const { return reinterpret_cast<HEVENT>(m_handle); }
    bool Take(DWORD timeout = 0) const {
        return WaitForSingleObject(m_handle, timeout) == WAIT_OBJECT_0;
    }
    /// How often it was released; counts this look as a release of its own.
    LONG Count() const {
        LONG count = 0;
        ReleaseSemaphore(m_handle, 1, &count);
        return count;
    }

private:
    HANDLE m_handle;
};

class BaseClassesClock : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(S_OK, SystemClock::Create(nullptr, IID_PPV_ARGS(&m_clock))); }
    REFERENCE_TIME Now() {
        REFERENCE_TIME time = 0;
        EXPECT_TRUE(SUCCEEDED(m_clock->GetTime(&time)));
        return time;
    }
    ComPtr<IReferenceClock> m_clock;
};

TEST_F(BaseClassesClock, RefusesBadArguments) {
    void* out = &out;
    EXPECT_EQ(E_NOINTERFACE, m_clock->QueryInterface(__uuidof(IBaseFilter), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, m_clock->QueryInterface(__uuidof(IUnknown), nullptr));
    out = &out;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, SystemClock::Create(m_clock.Get(), __uuidof(IUnknown), &out));
    EXPECT_EQ(nullptr, out);

    const Signal event;
    const Signal semaphore(9);
    EXPECT_EQ(E_POINTER, m_clock->GetTime(nullptr));
    EXPECT_EQ(E_POINTER, m_clock->AdviseTime(Now(), 0, event, nullptr));
    EXPECT_EQ(E_POINTER, m_clock->AdvisePeriodic(Now(), 1, semaphore, nullptr));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(0));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(12345));
    using Pair = std::pair<REFERENCE_TIME, REFERENCE_TIME>;
    const Pair times[] = {
        {0, 0},      {-1, 0},     {0, -1},          {100, -100},        {-100, 50},
        {kNever, 0}, {kNever, 1}, {kNever, kNever}, {-kNever, -kNever}, {1, kNever - 1}};
    DWORD_PTR cookie = 1;
    for (const auto& [base, stream] : times) {
        EXPECT_EQ(E_INVALIDARG, m_clock->AdviseTime(base, stream, event, &cookie))
            << base << " + " << stream;
    }
    for (const auto& [start, period] : {Pair{0, 1}, {-1, 1}, {1, 0}, {1, -1}, {kNever, 1}}) {
        EXPECT_EQ(E_INVALIDARG, m_clock->AdvisePeriodic(start, period, semaphore, &cookie))
            << start << ", " << period;
    }
    EXPECT_EQ(E_INVALIDARG, m_clock->AdviseTime(Now(), 0, 0, &cookie));
    EXPECT_EQ(E_INVALIDARG, m_clock->AdvisePeriodic(1, 1, 0, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_FALSE(event.Take());
}

TEST_F(BaseClassesClock, FiresInOrderNotEarlyAndUntilUnadvised) {
    const REFERENCE_TIME base = Now();
    const Signal events[3];
    const REFERENCE_TIME delays[] = {kHour, 60 * kMillisecond, 30 * kMillisecond};
    DWORD_PTR cookies[3] = {};
    // The adviser sleeps towards the farthest first and has to be woken for each nearer one.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(S_OK, m_clock->AdviseTime(base, delays[i], events[i], &cookies[i]));
    }
    ASSERT_TRUE(events[1].Take(kLongEnough));
    EXPECT_GE(Now(), base + delays[1]);
    EXPECT_TRUE(events[2].Take());
    EXPECT_FALSE(events[0].Take());
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(cookies[2]));
    EXPECT_EQ(S_OK, m_clock->Unadvise(cookies[0]));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(cookies[0]));
    ASSERT_EQ(S_OK, m_clock->AdviseTime(1, 0, events[0], &cookies[0]));
    EXPECT_TRUE(events[0].Take(kLongEnough)) << "a time that is past";

    const Signal semaphore(1'000'000'000);
    const REFERENCE_TIME start = Now() + kMillisecond;
    ASSERT_EQ(S_OK, m_clock->AdvisePeriodic(start, kMillisecond, semaphore, &cookies[1]));
    for (int round = 0; round < 30; ++round) {
        ASSERT_TRUE(semaphore.Take(kLongEnough));
        EXPECT_GE(Now(), start + round * kMillisecond);
    }
    EXPECT_EQ(S_OK, m_clock->Unadvise(cookies[1]));
    const LONG fired = semaphore.Count();
    ASSERT_EQ(S_OK, m_clock->AdviseTime(Now(), 5 * kMillisecond, events[1], &cookies[1]));
    EXPECT_TRUE(events[1].Take(kLongEnough));
    EXPECT_EQ(semaphore.Count(), fired + 1);
}

/// Advises from several threads, some cancelled, the adviser falling asleep between them: each
/// that stays fires, none that was cancelled in time does.
TEST_F(BaseClassesClock, ManyAdvisesFromManyThreads) {
    std::atomic<int> lost{0};
    std::atomic<int> ghosts{0};
    const auto work = [&](unsigned index) {
        std::mt19937 random(index);
        std::vector<Signal> cancelled;
        for (int round = 0; round < 500 && lost == 0; ++round) {
            Signal event;
            DWORD_PTR cookie = 0;
            const REFERENCE_TIME delay = static_cast<REFERENCE_TIME>(random() % 3000);
            lost += FAILED(m_clock->AdviseTime(Now(), delay, event, &cookie));
            if (round % 3 == 0 && m_clock->Unadvise(cookie) == S_OK) {
                cancelled.push_back(std::move(event));
            } else {
                lost += !event.Take(kLongEnough);
            }
        }
        for (const Signal& event : cancelled) {
            ghosts += event.Take();
        }
    };
    {
        std::jthread others[] = {std::jthread(work, 1), std::jthread(work, 2),
                                 std::jthread(work, 3)};
        work(0);
    }
    EXPECT_EQ(0, lost);
    EXPECT_EQ(0, ghosts);
}

TEST(BaseClassesClockLifetime, EndsWithAdvisesPendingOrJustStarted) {
    const Signal event;
    const Signal semaphore(1'000'000'000);
    for (int round = 0; round < 60; ++round) {
        ComPtr<IReferenceClock> clock;
        ASSERT_EQ(S_OK, SystemClock::Create(nullptr, IID_PPV_ARGS(&clock)));
        EXPECT_FALSE(server::CanUnload());
        DWORD_PTR cookie = 0;
        if (round % 3 != 0) {
            ASSERT_EQ(S_OK, clock->AdviseTime(kHour, kNever / 2, event, &cookie));
        }
        if (round % 3 == 1) {
            ASSERT_EQ(S_OK, clock->AdvisePeriodic(1, kMillisecond, semaphore, &cookie));
        }
        EXPECT_EQ(0u, clock.Reset());
    }
    EXPECT_FALSE(event.Take());
    EXPECT_TRUE(server::CanUnload());
}

TEST(BaseClassesScheduler, PeriodicAtTheLimits) {
    AdviseScheduler scheduler;
    const Signal small(5);
    const Signal large(1'000'000'000);
    scheduler.AddPeriodic(1, 1, small.Get());
    // Far more periods than fit: it fills up, and does not take an age.
    EXPECT_EQ(4'000'000'000'001, scheduler.Advance(4'000'000'000'000));
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(small.Take());
    }
    EXPECT_FALSE(small.Take());
    // The next time would not fit: it ends instead of wrapping round.
    AdviseScheduler ending;
    const auto cookie = ending.AddPeriodic(kNever - 5, 10, large.Get()).cookie;
    EXPECT_EQ(kNever, ending.Advance(kNever - 1));
    EXPECT_EQ(1, large.Count());
    EXPECT_FALSE(ending.Cancel(cookie));
    // It just fits.
    const auto last = ending.AddPeriodic(kNever - 15, 15, large.Get()).cookie;
    EXPECT_EQ(kNever, ending.Advance(kNever - 15));
    EXPECT_TRUE(ending.Cancel(last));
    EXPECT_EQ(3, large.Count());
}

TEST(BaseClassesScheduler, SaysWhatIsFirstAndWhatIsNext) {
    AdviseScheduler scheduler;
    const Signal late, early, equal, periodic(1'000'000);
    EXPECT_EQ(kNever, scheduler.Advance(1));
    const auto first = scheduler.AddOneShot(50, late.Get());
    EXPECT_TRUE(first.isFirst);
    EXPECT_TRUE(scheduler.AddOneShot(20, early.Get()).isFirst);
    EXPECT_FALSE(scheduler.AddOneShot(20, equal.Get()).isFirst) << "of equal times the elder";
    const auto beat = scheduler.AddPeriodic(30, 7, periodic.Get());
    EXPECT_FALSE(beat.isFirst);
    EXPECT_EQ(20, scheduler.Advance(19));
    EXPECT_FALSE(early.Take());
    EXPECT_EQ(30, scheduler.Advance(20));
    EXPECT_TRUE(early.Take() && equal.Take() && !late.Take());
    EXPECT_EQ(37, scheduler.Advance(36));
    EXPECT_EQ(50, scheduler.Advance(44)); // 37 and 44
    EXPECT_EQ(3, periodic.Count());
    EXPECT_TRUE(scheduler.Cancel(beat.cookie));
    EXPECT_FALSE(scheduler.Cancel(beat.cookie));
    EXPECT_EQ(50, scheduler.Advance(49));
    EXPECT_EQ(kNever, scheduler.Advance(60));
    EXPECT_TRUE(late.Take());
    EXPECT_FALSE(scheduler.Cancel(first.cookie));
    EXPECT_EQ(4, periodic.Count());
}

} // namespace
} // namespace ymdshow
