// The test source on the system's graph manager, driven through a media item.
#include "integration/playback_support.h"
#include "unit/media_resources.h"

#include <array>
#include <thread>

namespace playback {

class SourcePlayback : public PlaybackTest {
protected:
    /// Waits for the first picture of the segment that a seek has begun.
    bool Settled(LONGLONG start) {
        return Within(5000, [&] {
            const std::vector<TestRecord> shown = Shown();
            return !shown.empty() && shown[0].segmentStart == start;
        });
    }
};

TEST_F(SourcePlayback, SeeksLandOnTheFrameInEveryState) {
    Load("test://320x180@25/10s?audio=440");
    ASSERT_EQ(m_media.GetOriginalDuration(), 10 * kSecond);
    ASSERT_EQ(m_media.GetVideoOiginalAvgFrameTime(), 40 * kMillisecond);
    for (const int state : {0, 1, 2}) {
        for (const int place : {4010, 0, 9970, 1239, 1240}) {
            SCOPED_TRACE("state " + std::to_string(state) + ", " + std::to_string(place) + " ms");
            if (state != 0) {
                ASSERT_EQ(m_media.Play(), 1);
                if (state == 1) {
                    ASSERT_EQ(m_media.Pause(), 1);
                }
            }
            Recorder()->Clear();
            ASSERT_EQ(m_media.SetMediaPosition(place * kMillisecond), 1);
            EXPECT_EQ(m_media.GetPlayState(), state);
            if (state == 0) {
                EXPECT_EQ(m_media.GetMediaPosition(), 0);
                ASSERT_EQ(m_media.Play(), 1);
                ASSERT_EQ(m_media.Pause(), 1);
            }
            ASSERT_TRUE(Settled(place * kMillisecond));
            EXPECT_EQ(Shown()[0].frame, place / 40);
            EXPECT_GE(m_media.GetMediaPosition(), place * kMillisecond);
            if (state != 2) {
                EXPECT_LT(m_media.GetMediaPosition(), (place + 500) * kMillisecond);
            }
            ASSERT_EQ(m_media.Stop(), 1);
        }
    }
}

TEST_F(SourcePlayback, SnapshotShowsTheFrame) {
    Load("test://320x180@25/10s?audio=0", Renderers::Gdi);
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_EQ(m_media.Pause(), 1);
    for (const int frame : {100, 3, 249}) {
        ASSERT_EQ(m_media.SetMediaPosition(frame * 40 * kMillisecond), 1);
        EXPECT_TRUE(Within(5000, [&] { return Snapshot(m_media).Frame() == frame; })) << frame;
    }
    Picture picture = Snapshot(m_media);
    ASSERT_EQ(picture.width, 320);
    ASSERT_EQ(picture.height, 180);
    constexpr std::array<COLORREF, 8> kBars = {0xffffff, 0x00ffff, 0xffff00, 0x00ff00,
                                               0xff00ff, 0x0000ff, 0xff0000, 0x000000};
    for (int i = 0; i < 8; ++i) {
        for (const int x : {i * 40, i * 40 + 39}) {
            EXPECT_EQ(picture.At(x, 23), kBars[static_cast<std::size_t>(i)]) << x;
            EXPECT_EQ(picture.At(x, 134), kBars[static_cast<std::size_t>(i)]) << x;
        }
    }
}

TEST_F(SourcePlayback, ClipBoundsHoldInEveryState) {
    Load("test://320x180@25/10s?audio=440");
    int ends = 0;
    for (const int state : {0, 1, 2}) {
        SCOPED_TRACE(state);
        m_media.TimeClip(0, 0);
        if (state != 0) {
            ASSERT_EQ(m_media.Play(), 1);
        }
        if (state == 1) {
            ASSERT_EQ(m_media.Pause(), 1);
        }
        ASSERT_EQ(m_media.TimeClip(2 * kSecond, 2 * kSecond + 400 * kMillisecond), 1);
        EXPECT_EQ(m_media.GetPlayState(), state);
        ASSERT_EQ(m_media.Play(), 1);
        ASSERT_TRUE(Played(++ends));
        std::vector<TestRecord> shown = Shown();
        ASSERT_FALSE(shown.empty());
        EXPECT_EQ(shown.front().frame, 50);
        EXPECT_EQ(shown.back().frame, 59) << "the one that begins before the end";
        // Stopped, it goes back to the clip's beginning, also in the next load.
        ASSERT_EQ(m_media.Stop(), 1);
        Recorder()->Clear();
        ASSERT_EQ(m_media.Play(), 1);
        ASSERT_TRUE(Played(++ends));
        shown = Shown();
        ASSERT_EQ(shown.size(), 10U);
        EXPECT_EQ(shown.front().frame, 50);
        ASSERT_EQ(m_media.Stop(), 1);
    }
    UnloadQuietly();
    ASSERT_EQ(m_media.Load(nullptr, 1), 1);
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_TRUE(Played(++ends));
    EXPECT_EQ(Shown().front().frame, 50);
    EXPECT_EQ(Shown().back().frame, 59);
}

TEST_F(SourcePlayback, FiftyLoopsEndAtTheRightFrame) {
    constexpr int kLoops = 50;
    Load("test://320x180@50/10s?audio=440");
    ASSERT_EQ(m_media.TimeClip(kSecond, kSecond + 100 * kMillisecond), 1);
    m_media.SetLoop(1);
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_TRUE(Played(kLoops, 45000));
    ASSERT_EQ(m_media.Stop(), 1);

    std::vector<std::vector<TestRecord>> loops;
    for (const TestRecord& record :
         modules::Records(m_media.GetVideoTrackRender(0), TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            loops.emplace_back();
        } else if (record.kind == TestRecord::Sample && !loops.empty()) {
            loops.back().push_back(record);
        }
    }
    ASSERT_GE(loops.size(), std::size_t{kLoops});
    // What is lost at a loop: until its first picture comes, and until pictures move again
    // (the first waits for the graph to start its clock).
    double first = 0;
    double moving = 0;
    for (std::size_t i = 0; i < kLoops; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(loops[i].size(), 5U);
        EXPECT_EQ(loops[i].front().frame, 50);
        EXPECT_EQ(loops[i].back().frame, 54);
        if (i > 0) {
            const LONGLONG end = loops[i - 1].back().wall + 20 * kMillisecond;
            first += static_cast<double>(loops[i][0].wall - end) / kMillisecond;
            moving +=
                static_cast<double>(loops[i][1].wall - end - 20 * kMillisecond) / kMillisecond;
        }
    }
    std::printf("loop gap: %.1f ms to the first picture, %.1f ms until it moves\n",
                first / (kLoops - 1), moving / (kLoops - 1));
}

TEST_F(SourcePlayback, RunsFreeWithoutAClockAndInTimeAgain) {
    m_media.SetAmain(1);
    Load("test://320x180@25/30s?audio=440");
    const auto begin = Clock::now();
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_TRUE(Played(1, 25000)) << "slower than its own time";
    std::printf("free running: %.1f times as fast as in time\n",
                30000.0 / static_cast<double>(Milliseconds(begin)));
    EXPECT_EQ(Shown().size(), 750U);
    EXPECT_EQ(Shown().back().frame, 749);
    m_media.SetAmain(0); // not while it plays
    EXPECT_EQ(m_media.IsAmain(), 1);
    ASSERT_EQ(m_media.Stop(), 1);
    m_media.SetAmain(0);
    m_media.TimeClip(0, kSecond);
    const auto again = Clock::now();
    ASSERT_EQ(m_media.Play(), 1);
    ASSERT_TRUE(Played(2));
    EXPECT_GE(Milliseconds(again), 900);
}

/// Play, pause, seek, stop and unload from two threads, with loops and a slow callback.
TEST_F(SourcePlayback, CyclesFromTwoThreadsLeaveNothingBehind) {
    m_media.SetEventCallBackFun(
        [](ymdshow::CMedia*, void* user, long, std::int64_t, std::int64_t) {
            ++static_cast<Ends*>(user)->count;
            Sleep(5);
            return 0;
        },
        &m_ends);
    Load("test://320x180@25/80ms?audio=440");
    m_media.SetLoop(1);
    const auto cycle = [this](int count, unsigned seed) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (int i = 0; i < count; ++i) {
            seed = seed * 1103515245 + 12345;
            EXPECT_EQ(m_media.Load(nullptr, 1), 1);
            m_media.Play();
            Sleep(seed >> 16 & 63);
            m_media.Pause();
            m_media.SetMediaPosition(40 * kMillisecond);
            m_media.Play();
            Sleep(seed >> 22 & 15);
            m_media.SetMediaPosition(0);
            if ((seed >> 27 & 1) != 0) {
                m_media.Stop();
            }
            IReferenceClock* clock = nullptr;
            m_media.EnumMediaFilter(
                [](IBaseFilter* filter, void* user) {
                    auto** const kept = static_cast<IReferenceClock**>(user);
                    if (*kept == nullptr) {
                        filter->GetSyncSource(kept);
                    }
                },
                &clock, 1);
            EXPECT_EQ(m_media.Unload(), 1);
            modules::LetClockRest(); // the other thread may be at the next load meanwhile
            if (clock != nullptr) {
                clock->Release();
            }
        }
        CoUninitialize();
    };
    const auto run = [&](int count) {
        std::thread first(cycle, count, 1U);
        std::thread second(cycle, count, 2U);
        first.join();
        second.join();
    };
    run(3);
    const unsigned kept = modules::HandlesKeptByGraphs(40);
    const unsigned before = media_tests::Resources::Now().handles;
    unsigned after = 0;
    run(20);
    // Threads close the last of theirs a little later.
    EXPECT_TRUE(Within(3000,
                       [&] {
                           after = media_tests::Resources::Now().handles;
                           return after <= before + kept + 6;
                       }))
        << before << " handles became " << after;
    EXPECT_GT(m_ends.count, 0);
}

} // namespace playback
