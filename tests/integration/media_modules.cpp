// Graphs of the project's test filters, made by a script with nothing registered: what has to
// be exact to the frame, and what is left behind.

#include "integration/media_support.h"
#include "unit/media_resources.h"

using namespace media_tests;

namespace {

class MediaModules : public RealMediaTest {
protected:
    /// Tracks, picture, duration and filters.
    std::string Facts() {
        std::string filters;
        media.GetFilterInfo(filters);
        std::ostringstream text;
        text << media.GetVideoTrackNum() << " of " << media.GetOriginalVideoTrackNum()
             << " pictures, " << media.GetAudioTrackNum() << " of "
             << media.GetOriginalAudioTrackNum() << " sounds, " << media.GetVideoOriginalWidth()
             << "x" << media.GetVideoOriginalHeight() << " " << media.GetVideoOiginalAvgFrameTime()
             << ", " << media.GetOriginalDuration() << "\n"
             << filters;
        return text.str();
    }

    /// The video renderer, then the audio ones.
    std::vector<IBaseFilter*> Renderers() {
        std::vector<IBaseFilter*> renderers{media.GetVideoTrackRender(0)};
        for (std::uint32_t i = 0; i < media.GetAudioTrackNum(); ++i) {
            renderers.push_back(media.GetAudioTrackRender(i));
        }
        return renderers;
    }

    /// From the stopped state: 1 paused, 2 running.
    void Bring(int state) {
        ASSERT_TRUE(state == 0 || media.Play() == 1);
        ASSERT_TRUE(state != 1 || media.Pause() == 1);
    }

    /// Whether a renderer gets samples from now on.
    static bool GoesOn(IBaseFilter* renderer) {
        const std::size_t before = Records(renderer, TestRecord::Sample).size();
        return Within(kPatience,
                      [&] { return Records(renderer, TestRecord::Sample).size() > before + 3; });
    }
};

TEST_F(MediaModules, ScriptAloneMakesTheGraphAgainAndAgain) {
    UseScript();
    int heard = 0;
    media.SetAddFilterCallBack([](IBaseFilter*, void* user) { ++*static_cast<int*>(user); },
                               &heard);
    const auto& report = media.GetLoadReport();
    for (const int flag : {1, 0}) {
        const auto load = [&](const std::string& path) {
            heard = 0;
            ASSERT_TRUE(path.empty() || media.SetMediaPath(path) == 1);
            ASSERT_EQ(media.Load(nullptr, flag), 1) << testing::PrintToString(log.Lines());
            EXPECT_EQ(heard, 4);
        };
        const std::string path = "test://320x240@25/1s?audio=440,880&rate=48000";
        load(path);
        const std::string first = Facts();
        EXPECT_TRUE(
            first.starts_with("1 of 1 pictures, 2 of 2 sounds, 320x240 400000, 10000000\n"));
        EXPECT_EQ(std::count(first.begin(), first.end(), '{'), 4) << first;
        EXPECT_EQ(report.attempts.size(), 2U);
        EXPECT_EQ(report.attempts.back().way, flag ? 1 : 3);
        for (const auto& filter : report.filters) {
            EXPECT_TRUE(filter.created && filter.added && SUCCEEDED(filter.result));
            EXPECT_NE(filter.module.find(L"\\filters\\"), filter.module.npos);
        }
        for (const int linked : {0, 1}) {
            ASSERT_EQ(linked ? media.LinkAllFilter() : media.UnlinkAllFilter(), 1);
            for (IBaseFilter* renderer : Renderers()) {
                EXPECT_EQ(IsFilterLinked(renderer), linked);
            }
        }
        EXPECT_EQ(Facts(), first);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(flag ? 1 : 2));
        EXPECT_EQ(Frames().back().size(), 25U);
        EXPECT_EQ(Frames().back().back(), 24);
        StopQuietly();
        media.Unload();
        load("");
        EXPECT_EQ(Facts(), first);
        load("test:///1s?video=0&audio=300");
        EXPECT_TRUE(Facts().starts_with("0 of 0 pictures, 1 of 1 sounds, 0x0 0, 10000000\n"));
        EXPECT_EQ(log.Count("8 *"), log.Count("8 *Load MediaInfo*"));
    }
}

TEST_F(MediaModules, TracksAreSwitchedWhilePlaying) {
    Load("test://160x120@25/60s?live=1&audio=440,880");
    const auto renderers = Renderers();
    ASSERT_EQ(renderers.size(), 3U);
    for (IBaseFilter* renderer : renderers) {
        Recorder(renderer)->SetLiveConnect(TRUE);
    }
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(GoesOn(renderers[0]));
    for (const std::uint32_t off : {0U, 1U}) {
        ASSERT_TRUE(media.DisableAudioTrack(off));
        EXPECT_EQ(IsFilterLinked(renderers[1 + off]), 0);
        EXPECT_TRUE(GoesOn(renderers[0]) && GoesOn(renderers[2 - off]));
        EXPECT_EQ(media.IsPlaying(), 1);
        ASSERT_TRUE(media.EnableAudioTrack(off));
        for (IBaseFilter* renderer : renderers) {
            EXPECT_TRUE(GoesOn(renderer));
        }
    }
    for (const std::uint32_t only : {1U, 0U}) {
        ASSERT_TRUE(media.EnableOnlyOneAudioTrack(only));
        EXPECT_TRUE(GoesOn(renderers[1 + only]));
        EXPECT_EQ(IsFilterLinked(renderers[2 - only]), 0);
    }
    ASSERT_TRUE(media.DisableVideoTrack(0));
    EXPECT_EQ(IsFilterLinked(renderers[0]), 0);
    EXPECT_TRUE(GoesOn(renderers[1]));
}

TEST_F(MediaModules, StreamsAreSwitchedWhilePlaying) {
    Load("test://160x120@25/60s?select=440,880,1320");
    EXPECT_EQ(media.GetAudioTrackNum(), 3U);
    IBaseFilter* const sound = media.GetAudioTrackRender(2);
    ASSERT_NE(sound, nullptr);
    ASSERT_EQ(media.Play(), 1);
    for (const std::uint32_t wanted : {1U, 2U, 0U}) {
        ASSERT_TRUE(media.EnableOnlyOneAudioTrack(wanted));
        EXPECT_EQ(media.GetFirstEnabledAudioTrackIndex(), static_cast<int>(wanted));
        EXPECT_TRUE(Within(kPatience, [&] {
            const auto records = Records(sound, TestRecord::Sample);
            return !records.empty() &&
                   std::abs(records.back().frequency - 440.0 * (wanted + 1)) < 15;
        })) << wanted;
        EXPECT_TRUE(GoesOn(media.GetVideoTrackRender(0)));
    }
}

TEST_F(MediaModules, SeeksLandOnTheFrameInEveryState) {
    Load("test://320x180@25/10s?audio=440");
    for (const int state : {0, 1, 2}) {
        for (const int place : {4010, 0, 9970, 1239, 1240}) {
            SCOPED_TRACE("state " + std::to_string(state) + ", " + std::to_string(place) + " ms");
            Bring(state);
            Recorder(media.GetVideoTrackRender(0))->Clear();
            ASSERT_EQ(media.SetMediaPosition(place * kMillisecond), 1);
            EXPECT_EQ(media.GetPlayState(), state);
            if (state == 0) {
                EXPECT_EQ(media.GetMediaPosition(), 0);
                Bring(1);
            }
            ASSERT_TRUE(Within(kPatience, [&] {
                const auto frames = Frames().back();
                return !frames.empty() && frames[0] == place / 40;
            }));
            EXPECT_GE(media.GetMediaPosition(), place * kMillisecond);
            if (state == 1) {
                EXPECT_LT(media.GetMediaPosition(), (place + 40) * kMillisecond);
            }
            ASSERT_EQ(media.Stop(), 1);
        }
    }
}

TEST_F(MediaModules, ClipBoundsHoldInEveryStateAndLoop) {
    Load("test://320x180@25/10s?audio=440");
    const std::vector<LONG> clip = {50, 51, 52, 53, 54, 55, 56, 57, 58, 59};
    int rounds = 0;
    const auto playsTheClip = [&] {
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(++rounds));
        EXPECT_EQ(Frames().back(), clip);
    };
    for (const int state : {0, 1, 2}) {
        SCOPED_TRACE(state);
        media.TimeClip(0, 0);
        Bring(state);
        ASSERT_EQ(media.TimeClip(2 * kSecond, 2 * kSecond + 400 * kMillisecond), 1);
        EXPECT_EQ(media.GetPlayState(), state);
        for (int round = 0; round < 2; ++round) {
            playsTheClip();
            ASSERT_EQ(media.Stop(), 1); // back to the clip's beginning
        }
    }
    LetClockRest();
    media.Unload();
    ASSERT_EQ(media.Load(nullptr, 1), 1);
    media.SetLoop(1);
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(rounds + 10));
    ASSERT_EQ(media.Stop(), 1);
    for (std::size_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(Frames().at(i), clip) << i;
    }
}

TEST_F(MediaModules, RunsFreeWithoutAClock) {
    media.SetAmain(1);
    Load("test://96x64@5/120s?audio=0");
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(1)) << "slower than its own time";
    EXPECT_EQ(Frames().back().size(), 600U);
    ASSERT_EQ(media.Stop(), 1);
    media.SetAmain(0);
    ComPtr<IReferenceClock> clock;
    EXPECT_EQ(media.GetVideoTrackRender(0)->GetSyncSource(&clock), S_OK);
    EXPECT_NE(clock, nullptr);
}

TEST_F(MediaModules, CyclesLeaveNothing) {
    UseScript();
    constexpr int kItems = 10; // side by side
    const unsigned kept = HandlesKeptByGraphs(40 * kItems);
    unsigned early = 0;
    for (int round = 0; round < 50; ++round) {
        std::vector<std::unique_ptr<ymdshow::CMedia>> items;
        for (int i = 0; i < kItems; ++i) {
            items.push_back(
                std::make_unique<ymdshow::CMedia>("test://160x120/1s?audio=440,880", &player));
            ASSERT_EQ(items.back()->Load(nullptr, i % 2), 1) << i;
        }
        if (round % 10 == 0) {
            ASSERT_EQ(items[0]->Play(), 1);
            EXPECT_TRUE(GoesOn(items[0]->GetVideoTrackRender(0)));
            EXPECT_EQ(items[0]->Stop(), 1);
            LetClockRest();
        }
        EXPECT_FALSE(log.Has("*RefCount*"));
        log.Clear();
        items.clear();
        early = round == 9 ? Resources::Now().handles : early;
    }
    EXPECT_GT(early, 0U);
    EXPECT_LE(Resources::Now().handles, early + kept + 6);
}

/// Load, play, pause, seek, stop and unload, with loops.
TEST_F(MediaModules, CyclesFromTwoThreadsLeaveNothing) {
    UseScript();
    ASSERT_EQ(media.SetMediaPath("test://320x180@25/80ms?audio=440"), 1);
    media.SetLoop(1);
    const auto cycle = [this](int count, unsigned seed) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (int i = 0; i < count; ++i) {
            seed = seed * 1103515245 + 12345;
            EXPECT_EQ(media.Load(nullptr, 1), 1);
            media.Play();
            Sleep(i % 4 == 0 ? 400 : seed >> 16 & 63); // a loop now and then
            media.Pause();
            media.SetMediaPosition(40 * kMillisecond);
            media.Play();
            Sleep(seed >> 22 & 15);
            media.SetMediaPosition(0);
            if ((seed >> 27 & 1) != 0) {
                media.Stop();
            }
            ComPtr<IReferenceClock> clock;
            media.EnumMediaFilter(
                [](IBaseFilter* filter, void* user) {
                    filter->GetSyncSource(
                        static_cast<ComPtr<IReferenceClock>*>(user)->ReleaseAndGetAddressOf());
                },
                std::addressof(clock), 1);
            EXPECT_EQ(media.Unload(), 1);
            LetClockRest(); // the other thread may be at the next load meanwhile
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
    const unsigned kept = HandlesKeptByGraphs(40);
    const unsigned most = Resources::Now().handles + kept + 6;
    run(20);
    // Threads close the last of theirs a little later.
    EXPECT_TRUE(Within(kPatience, [&] { return Resources::Now().handles <= most; })) << most;
    EXPECT_EQ(media.Play(), 1);
    EXPECT_TRUE(Ended(ends + 2));
    log.Clear(); // a thread of the graph may have held a filter for a moment as it was dropped
}

} // namespace
