#include <gtest/gtest.h>

#include <wrl/client.h>

#include <atomic>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "BaseClasses/SystemClock.h"

#include "baseclasses_handles.h"

namespace ymdshow {
namespace {

using tests::Handle;
using tests::InThreads;
using tests::MakeEvent;
using tests::MakeSemaphore;
using tests::Take;

using Microsoft::WRL::ComPtr;

constexpr REFERENCE_TIME kMillisecond = 10'000;
constexpr REFERENCE_TIME kHour = 3600 * 1000 * kMillisecond;
constexpr REFERENCE_TIME kLatest = std::numeric_limits<REFERENCE_TIME>::max();
constexpr DWORD kLongEnough = 60'000; // ms; only ever waited for in full by a failing test

HEVENT AsEvent(const Handle& handle) {
    return reinterpret_cast<HEVENT>(handle.get());
}
HSEMAPHORE AsSemaphore(const Handle& handle) {
    return reinterpret_cast<HSEMAPHORE>(handle.get());
}

class BaseClassesClock : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(S_OK, CSystemClock::Create(nullptr, IID_PPV_ARGS(&m_clock)));
    }

    REFERENCE_TIME Now() {
        REFERENCE_TIME time = 0;
        EXPECT_TRUE(SUCCEEDED(m_clock->GetTime(&time)));
        return time;
    }

    ComPtr<IReferenceClock> m_clock;
};

TEST_F(BaseClassesClock, Identity) {
    ComPtr<IUnknown> unknown;
    ASSERT_EQ(S_OK, m_clock.As(&unknown));
    ComPtr<IReferenceClock> again;
    EXPECT_EQ(S_OK, unknown.As(&again));
    EXPECT_EQ(m_clock.Get(), again.Get());
    void* out = &out;
    EXPECT_EQ(E_NOINTERFACE, m_clock->QueryInterface(__uuidof(IBaseFilter), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, m_clock->QueryInterface(__uuidof(IUnknown), nullptr));
    out = &out;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, CSystemClock::Create(unknown.Get(), __uuidof(IUnknown), &out));
    EXPECT_EQ(nullptr, out);
}

TEST_F(BaseClassesClock, RefusesBadArguments) {
    const Handle event = MakeEvent();
    const Handle semaphore = MakeSemaphore();
    EXPECT_EQ(E_POINTER, m_clock->GetTime(nullptr));
    EXPECT_EQ(E_POINTER, m_clock->AdviseTime(Now(), 0, AsEvent(event), nullptr));
    EXPECT_EQ(E_POINTER, m_clock->AdvisePeriodic(Now(), 1, AsSemaphore(semaphore), nullptr));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(0));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(12345));

    using Pair = std::pair<REFERENCE_TIME, REFERENCE_TIME>;
    const Pair times[] = {{0, 0},
                          {-1, 0},
                          {0, -1},
                          {100, -100},
                          {100, -101},
                          {-100, 50},
                          {kLatest, 0},
                          {kLatest, kLatest},
                          {kLatest, 1},
                          {1, kLatest - 1},
                          {-kLatest, -kLatest}};
    const Pair periods[] = {{0, 1}, {-1, 1}, {1, 0}, {1, -1}, {kLatest, 1}};
    DWORD_PTR cookie = 1;
    for (const auto& [base, stream] : times) {
        EXPECT_EQ(E_INVALIDARG, m_clock->AdviseTime(base, stream, AsEvent(event), &cookie))
            << base << " + " << stream;
    }
    for (const auto& [start, period] : periods) {
        EXPECT_EQ(E_INVALIDARG,
                  m_clock->AdvisePeriodic(start, period, AsSemaphore(semaphore), &cookie))
            << start << ", " << period;
    }
    EXPECT_EQ(E_INVALIDARG, m_clock->AdviseTime(Now(), 0, 0, &cookie));
    EXPECT_EQ(E_INVALIDARG, m_clock->AdvisePeriodic(1, 1, 0, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_FALSE(Take(event, 0));
}

TEST_F(BaseClassesClock, TimeNeverGoesBack) {
    std::atomic<int> faults{0};
    std::atomic<REFERENCE_TIME> latest{0};
    InThreads(4, [&](unsigned) {
        REFERENCE_TIME last = 0;
        for (int round = 0; round < 50'000; ++round) {
            // What any thread has seen before this call is a lower bound for it.
            const REFERENCE_TIME seen = latest.load();
            REFERENCE_TIME time = 0;
            const HRESULT hr = m_clock->GetTime(&time);
            const bool isForward = hr == S_OK ? time > last : hr == S_FALSE && time >= last;
            faults += isForward && time >= seen ? 0 : 1;
            last = time;
            REFERENCE_TIME known = latest.load();
            while (known < time && !latest.compare_exchange_weak(known, time)) {
            }
        }
    });
    EXPECT_EQ(0, faults);
}

TEST_F(BaseClassesClock, OneShotsFireInOrderAndNotEarly) {
    const REFERENCE_TIME base = Now();
    const Handle events[] = {MakeEvent(), MakeEvent(), MakeEvent()};
    const REFERENCE_TIME delays[] = {kHour, 60 * kMillisecond, 30 * kMillisecond};
    DWORD_PTR cookies[3] = {};
    // The adviser sleeps towards the farthest first and has to be woken for each nearer one.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(S_OK, m_clock->AdviseTime(base, delays[i], AsEvent(events[i]), &cookies[i]));
    }
    ASSERT_TRUE(Take(events[1], kLongEnough));
    EXPECT_GE(Now(), base + delays[1]);
    EXPECT_TRUE(Take(events[2], 0));
    EXPECT_FALSE(Take(events[0], 0));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(cookies[2]));
    EXPECT_EQ(S_OK, m_clock->Unadvise(cookies[0]));
    EXPECT_EQ(S_FALSE, m_clock->Unadvise(cookies[0]));
    ASSERT_EQ(S_OK, m_clock->AdviseTime(1, 0, AsEvent(events[0]), &cookies[0]));
    EXPECT_TRUE(Take(events[0], kLongEnough)) << "a time that is past";
}

TEST_F(BaseClassesClock, PeriodicKeepsItsPaceUntilUnadvised) {
    constexpr REFERENCE_TIME kPeriod = 2 * kMillisecond;
    const Handle semaphore = MakeSemaphore();
    const REFERENCE_TIME start = Now() + kPeriod;
    DWORD_PTR cookie = 0;
    ASSERT_EQ(S_OK, m_clock->AdvisePeriodic(start, kPeriod, AsSemaphore(semaphore), &cookie));
    for (int round = 0; round < 30; ++round) {
        ASSERT_TRUE(Take(semaphore, kLongEnough));
        EXPECT_GE(Now(), start + round * kPeriod);
    }
    EXPECT_EQ(S_OK, m_clock->Unadvise(cookie));
    while (Take(semaphore, 0)) {
    }
    EXPECT_FALSE(Take(semaphore, 20));
}

/// Thousands of advises from several threads, some cancelled: each that stays fires, none
/// that was cancelled in time does.
TEST_F(BaseClassesClock, ManyAdvisesFromManyThreads) {
    std::atomic<int> lost{0};
    std::atomic<int> ghosts{0};
    InThreads(4, [&](unsigned index) {
        std::mt19937 random(index);
        std::vector<Handle> kept;
        std::vector<Handle> cancelled;
        for (int round = 0; round < 1000; ++round) {
            Handle event = MakeEvent();
            DWORD_PTR cookie = 0;
            const REFERENCE_TIME delay = static_cast<REFERENCE_TIME>(random() % 200) - 5;
            if (FAILED(m_clock->AdviseTime(Now(), delay * kMillisecond, AsEvent(event), &cookie))) {
                ++lost;
                continue;
            }
            const bool isGone = round % 3 == 0 && m_clock->Unadvise(cookie) == S_OK;
            (isGone ? cancelled : kept).push_back(std::move(event));
        }
        for (const Handle& event : kept) {
            lost += Take(event, kLongEnough) ? 0 : 1;
        }
        for (const Handle& event : cancelled) {
            ghosts += Take(event, 0) ? 1 : 0;
        }
    });
    EXPECT_EQ(0, lost);
    EXPECT_EQ(0, ghosts);
}

/// Short advises one after another, the adviser falling asleep between them: a lost wake-up
/// would leave one waiting.
TEST_F(BaseClassesClock, NoWakeUpIsLost) {
    std::atomic<int> lost{0};
    InThreads(3, [&](unsigned index) {
        std::mt19937 random(index);
        const Handle event = MakeEvent();
        for (int round = 0; round < 500 && lost == 0; ++round) {
            DWORD_PTR cookie = 0;
            m_clock->AdviseTime(Now(), static_cast<REFERENCE_TIME>(random() % 3000), AsEvent(event),
                                &cookie);
            lost += Take(event, kLongEnough) ? 0 : 1;
        }
    });
    EXPECT_EQ(0, lost);
}

TEST(BaseClassesClockLifetime, EndsWithAdvisesPendingOrJustStarted) {
    const Handle event = MakeEvent();
    const Handle semaphore = MakeSemaphore();
    for (int round = 0; round < 100; ++round) {
        ComPtr<IReferenceClock> clock;
        ASSERT_EQ(S_OK, CSystemClock::Create(nullptr, IID_PPV_ARGS(&clock)));
        EXPECT_FALSE(server::CanUnload());
        DWORD_PTR cookie = 0;
        if (round % 3 != 0) {
            ASSERT_EQ(S_OK, clock->AdviseTime(kHour, kLatest / 2, AsEvent(event), &cookie));
        }
        if (round % 3 == 1) {
            ASSERT_EQ(S_OK,
                      clock->AdvisePeriodic(1, kMillisecond, AsSemaphore(semaphore), &cookie));
        }
        EXPECT_EQ(0u, clock.Reset());
    }
    EXPECT_FALSE(Take(event, 0));
    EXPECT_TRUE(server::CanUnload());
}

} // namespace
} // namespace ymdshow
