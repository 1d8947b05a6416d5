#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <random>
#include <thread>

#include "BaseClasses/AdviseScheduler.h"

#include "baseclasses_handles.h"

namespace ymdshow {
namespace {

using tests::Handle;
using tests::MakeEvent;
using tests::MakeSemaphore;
using tests::Take;

constexpr REFERENCE_TIME kNever = CAdviseScheduler::kNever;

int Drain(const Handle& semaphore) {
    int count = 0;
    while (Take(semaphore)) {
        ++count;
    }
    return count;
}

TEST(BaseClassesScheduler, PeriodicAtTheLimits) {
    CAdviseScheduler scheduler;
    const Handle small = MakeSemaphore(5);
    const Handle large = MakeSemaphore();
    scheduler.AddPeriodic(1, 1, small.get());
    // Far more periods than fit: it fills up, and does not take an age.
    EXPECT_EQ(4'000'000'000'001, scheduler.Advance(4'000'000'000'000));
    EXPECT_EQ(5, Drain(small));
    EXPECT_EQ(4'000'000'000'002, scheduler.Advance(4'000'000'000'001));
    EXPECT_EQ(1, Drain(small));

    // The next time would not fit: it ends instead of wrapping round.
    CAdviseScheduler ending;
    const auto cookie = ending.AddPeriodic(kNever - 5, 10, large.get()).cookie;
    EXPECT_EQ(kNever, ending.Advance(kNever - 1));
    EXPECT_EQ(1, Drain(large));
    EXPECT_FALSE(ending.Cancel(cookie));
}

/// Random operations against a list that is searched from end to end: what fires and when,
/// what is next, which advise comes to stand first (of equal times the elder), what can be
/// cancelled.
TEST(BaseClassesScheduler, BehavesLikeAPlainList) {
    struct Expected {
        REFERENCE_TIME due;
        REFERENCE_TIME period;
        int fired = 0;
        bool isActive = true;
        Handle semaphore = MakeSemaphore();
        Handle event = MakeEvent();
    };
    std::mt19937 random(4711);
    const auto pick = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    CAdviseScheduler scheduler;
    std::map<CAdviseScheduler::Cookie, Expected> model;
    const auto next = [&model] {
        REFERENCE_TIME due = kNever;
        for (const auto& [cookie, entry] : model) {
            due = entry.isActive ? std::min(due, entry.due) : due;
        }
        return due;
    };
    REFERENCE_TIME now = 1;
    for (int step = 0; step < 3000; ++step) {
        const int action = pick(10);
        if (action < 4) {
            Expected entry{now + pick(200) - 20, action == 0 ? 1 + pick(50) : 0};
            const auto added =
                entry.period != 0
                    ? scheduler.AddPeriodic(entry.due, entry.period, entry.semaphore.get())
                    : scheduler.AddOneShot(entry.due, entry.event.get());
            ASSERT_EQ(entry.due < next(), added.isFirst);
            ASSERT_TRUE(model.emplace(added.cookie, std::move(entry)).second);
        } else if (action < 6 && !model.empty()) {
            const auto victim = std::next(model.begin(), pick(static_cast<int>(model.size())));
            ASSERT_EQ(victim->second.isActive, scheduler.Cancel(victim->first));
            victim->second.isActive = false;
        } else {
            now += pick(step % 500 == 499 ? 3000 : 30); // at times past all one-shots
            for (auto& [cookie, entry] : model) {
                while (entry.isActive && entry.due <= now) {
                    ++entry.fired;
                    entry.due += entry.period;
                    entry.isActive = entry.period != 0;
                }
            }
            ASSERT_EQ(next(), scheduler.Advance(now));
        }
    }
    int fired = 0;
    for (const auto& [cookie, entry] : model) {
        LONG released = 0;
        ReleaseSemaphore(entry.semaphore.get(), 1, &released);
        ASSERT_EQ(entry.fired, released + (Take(entry.event) ? 1 : 0));
        fired += entry.fired;
    }
    EXPECT_GT(fired, 1000) << "the random run must be worth its name";
}

/// Once Cancel has returned, the handle may be closed: nothing fires into it.
TEST(BaseClassesScheduler, CancelIsFinalWhileAnotherThreadFires) {
    CAdviseScheduler scheduler;
    std::atomic<bool> isEnding{false};
    std::thread firing([&] {
        for (REFERENCE_TIME now = 1; !isEnding; ++now) {
            scheduler.Advance(now);
        }
    });
    int touched = 0;
    for (int round = 0; round < 200; ++round) {
        Handle semaphore = MakeSemaphore();
        const auto cookie = scheduler.AddPeriodic(1, 1, semaphore.get()).cookie;
        WaitForSingleObject(semaphore.get(), INFINITE);
        EXPECT_TRUE(scheduler.Cancel(cookie));
        LONG before = 0;
        ReleaseSemaphore(semaphore.get(), 1, &before);
        std::this_thread::yield();
        LONG after = 0;
        ReleaseSemaphore(semaphore.get(), 1, &after);
        touched += after == before + 1 ? 0 : 1;
    }
    isEnding = true;
    firing.join();
    EXPECT_EQ(0, touched);
}

} // namespace
} // namespace ymdshow
