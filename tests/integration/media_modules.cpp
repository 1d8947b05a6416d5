// Graphs of the project's test filters, made by a script with nothing registered: what has to
// be exact to the frame, and what is left behind.

#include <thread>

#include "integration/media_support.h"
#include "unit/media_resources.h"

using namespace media_tests;

namespace {

class MediaModules : public RealMediaTest {
protected:
    /// "1:0 1:0 ": ways and results of the last load's attempts.
    std::string Attempts() {
        std::ostringstream text;
        for (const auto& attempt : media.GetLoadReport().attempts) {
            text << attempt.way << ":" << std::hex << attempt.result << " ";
        }
        return text.str();
    }

    /// Tracks, picture, duration and filters.
    std::string Facts() {
        std::ostringstream text;
        text << media.GetVideoTrackNum() << " of " << media.GetOriginalVideoTrackNum()
             << " pictures, " << media.GetAudioTrackNum() << " of "
             << media.GetOriginalAudioTrackNum() << " sounds, " << media.GetVideoOriginalWidth()
             << "x" << media.GetVideoOriginalHeight() << " " << media.GetVideoOiginalAvgFrameTime()
             << ", " << media.GetOriginalDuration() << "\n";
        std::string filters;
        media.GetFilterInfo(filters);
        return text.str() + filters;
    }

    /// The video renderer, then the audio ones.
    std::vector<IBaseFilter*> Renderers() {
        std::vector<IBaseFilter*> renderers{media.GetVideoTrackRender(0)};
        for (std::uint32_t i = 0; i < media.GetAudioTrackNum(); ++i) {
            renderers.push_back(media.GetAudioTrackRender(i));
        }
        return renderers;
    }

    /// Whether a renderer gets samples from now on.
    static bool GoesOn(IBaseFilter* renderer) {
        const std::size_t before = modules::Records(renderer, TestRecord::Sample).size();
        return Within(kPatience, [&] {
            return modules::Records(renderer, TestRecord::Sample).size() > before + 3;
        });
    }
};

TEST_F(MediaModules, ScriptAloneMakesTheGraphAgainAndAgain) {
    ComPtr<IBaseFilter> registered;
    ASSERT_EQ(CoCreateInstance(ymfilters::CLSID_TestSource, nullptr, CLSCTX_INPROC_SERVER,
                               IID_PPV_ARGS(&registered)),
              REGDB_E_CLASSNOTREG);
    UseScript();
    int heard = 0;
    media.SetAddFilterCallBack([](IBaseFilter*, void* user) { ++*static_cast<int*>(user); },
                               &heard);
    for (const int flag : {1, 0}) {
        std::string first;
        const auto load = [&](const std::string& path) {
            heard = 0;
            if (!path.empty()) {
                ASSERT_EQ(media.SetMediaPath(path), 1);
            }
            ASSERT_EQ(media.Load(nullptr, flag), 1) << testing::PrintToString(log.Lines());
            EXPECT_EQ(heard, 5);
        };
        const std::string path = "test://320x240@25/1s?coded=1&audio=440,880&rate=48000";
        load(path);
        first = Facts();
        EXPECT_TRUE(
            first.starts_with("1 of 1 pictures, 2 of 2 sounds, 320x240 400000, 10000000\n"));
        EXPECT_EQ(std::count(first.begin(), first.end(), '{'), 5) << first;
        EXPECT_EQ(Attempts(), flag ? "1:0 1:0 " : "3:0 3:0 ");
        for (const auto& filter : media.GetLoadReport().filters) {
            EXPECT_TRUE(filter.created && filter.added && filter.result == S_OK);
            EXPECT_NE(filter.module.find(L"\\filters\\test"), filter.module.npos);
        }
        for (const int linked : {0, 1}) {
            ASSERT_EQ(linked ? media.LinkAllFilter() : media.UnlinkAllFilter(), 1);
            for (IBaseFilter* renderer : Renderers()) {
                EXPECT_EQ(IsFilterLinked(renderer), linked);
            }
        }
        EXPECT_EQ(Facts(), first);
        media.Unload();
        load("");
        EXPECT_EQ(Facts(), first);
        load("test:///1s?video=0&audio=300");
        EXPECT_EQ(media.GetVideoTrackNum(), 0U);
        EXPECT_EQ(media.GetAudioTrackNum(), 1U);
        load(path);
        EXPECT_EQ(Facts(), first);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(flag ? 1 : 2));
        EXPECT_EQ(Shown().size(), 25U);
        EXPECT_EQ(Shown().back().frame, 24);
        StopQuietly();
    }
    EXPECT_EQ(log.Count("8 *"), log.Count("8 *Load MediaInfo*"));
}

TEST_F(MediaModules, ReportTellsWhatFailed) {
    UseScript("Picture", R"(
  {"Name": "Gone", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}", "Path": "filters\\no.ax"},
  {"Name": "Foreign", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
   "Path": "filters\\testrenderer.ax"},)");
    ASSERT_EQ(media.SetMediaPath("test:///1s?fail=8004022F"), 1);
    ASSERT_EQ(media.Load(nullptr, 1), 0);
    const auto& report = media.GetLoadReport();
    ASSERT_EQ(report.filters.size(), 7U);
    EXPECT_EQ(report.filters[0].result, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(report.filters[1].result, CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(log.Count("8 *Load Filter FAILED : *"), 2U);
    media.Unload(); // the report stays until the next load
    const std::string attempts = Attempts();
    EXPECT_TRUE(attempts.starts_with("1:8004022f 2:8")) << attempts;
    EXPECT_NE(attempts.find(" 3:8004022f 4:8"), attempts.npos) << attempts;
    EXPECT_FALSE(report.failure.empty());
    EXPECT_EQ(report.failureResult, report.attempts.back().result);
    ASSERT_EQ(media.SetMediaPath("test:///1s"), 1);
    EXPECT_EQ(media.Load(nullptr, 1), 1);
    EXPECT_EQ(report.failureResult, S_OK);
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
            const auto records = modules::Records(sound, TestRecord::Sample);
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
            if (state != 0) {
                ASSERT_EQ(media.Play(), 1);
            }
            if (state == 1) {
                ASSERT_EQ(media.Pause(), 1);
            }
            Recorder(media.GetVideoTrackRender(0))->Clear();
            ASSERT_EQ(media.SetMediaPosition(place * kMillisecond), 1);
            EXPECT_EQ(media.GetPlayState(), state);
            if (state == 0) {
                EXPECT_EQ(media.GetMediaPosition(), 0);
                ASSERT_EQ(media.Play(), 1);
                ASSERT_EQ(media.Pause(), 1);
            }
            // The first picture of the segment that the seek has begun.
            ASSERT_TRUE(Within(kPatience, [&] {
                const auto shown = Shown();
                return !shown.empty() && shown[0].segmentStart == place * kMillisecond;
            }));
            EXPECT_EQ(Shown()[0].frame, place / 40);
            EXPECT_GE(media.GetMediaPosition(), place * kMillisecond);
            if (state == 1) {
                EXPECT_LT(media.GetMediaPosition(), (place + 40) * kMillisecond);
            }
            ASSERT_EQ(media.Stop(), 1);
        }
    }
}

TEST_F(MediaModules, ClipBoundsHoldInEveryState) {
    Load("test://320x180@25/10s?audio=440");
    int rounds = 0;
    const auto playsTheClip = [&] {
        Recorder(media.GetVideoTrackRender(0))->Clear();
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(++rounds));
        const auto shown = Shown();
        ASSERT_EQ(shown.size(), 10U);
        EXPECT_EQ(shown.front().frame, 50);
        EXPECT_EQ(shown.back().frame, 59) << "the one that begins before the end";
    };
    for (const int state : {0, 1, 2}) {
        SCOPED_TRACE(state);
        media.TimeClip(0, 0);
        if (state != 0) {
            ASSERT_EQ(media.Play(), 1);
        }
        if (state == 1) {
            ASSERT_EQ(media.Pause(), 1);
        }
        ASSERT_EQ(media.TimeClip(2 * kSecond, 2 * kSecond + 400 * kMillisecond), 1);
        EXPECT_EQ(media.GetPlayState(), state);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Ended(++rounds));
        EXPECT_EQ(Shown().front().frame, 50);
        EXPECT_EQ(Shown().back().frame, 59);
        // Stopped, it goes back to the clip's beginning.
        ASSERT_EQ(media.Stop(), 1);
        playsTheClip();
        ASSERT_EQ(media.Stop(), 1);
    }
    modules::LetClockRest();
    media.Unload();
    ASSERT_EQ(media.Load(nullptr, 1), 1);
    playsTheClip();
}

TEST_F(MediaModules, LoopsEndAtTheRightFrame) {
    constexpr int kLoops = 12;
    Load("test://320x180@50/10s?audio=440");
    ASSERT_EQ(media.TimeClip(kSecond, kSecond + 100 * kMillisecond), 1);
    media.SetLoop(1);
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(kLoops));
    ASSERT_EQ(media.Stop(), 1);
    std::vector<std::vector<LONG>> loops;
    for (const TestRecord& record :
         modules::Records(media.GetVideoTrackRender(0), TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            loops.emplace_back();
        } else if (record.kind == TestRecord::Sample && !loops.empty()) {
            loops.back().push_back(record.frame);
        }
    }
    ASSERT_GE(loops.size(), std::size_t{kLoops});
    for (std::size_t i = 0; i < kLoops; ++i) {
        EXPECT_EQ(loops[i], (std::vector<LONG>{50, 51, 52, 53, 54})) << i;
    }
}

TEST_F(MediaModules, RunsFreeWithoutAClockAndInTimeAgain) {
    media.SetAmain(1);
    Load("test://96x64@5/120s?audio=0");
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(1)) << "slower than its own time";
    EXPECT_EQ(Shown().size(), 600U);
    EXPECT_EQ(Shown().back().frame, 599);
    media.SetAmain(0); // not while it plays
    EXPECT_EQ(media.IsAmain(), 1);
    ASSERT_EQ(media.Stop(), 1);
    media.SetAmain(0);
    media.TimeClip(0, kSecond);
    const auto begin = modules::Clock::now();
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Ended(2));
    EXPECT_GE(modules::Milliseconds(begin), 900);
}

TEST_F(MediaModules, CyclesLeaveNothing) {
    UseScript();
    constexpr int kItems = 10; // side by side
    const int rounds = Rounds("YMD_SOAK_MODULES", 50);
    const unsigned kept = modules::HandlesKeptByGraphs((rounds - 10) * kItems);
    const auto [early, late] = Soak(rounds, [&](int round) {
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
            modules::LetClockRest();
        }
        EXPECT_FALSE(log.Has("*RefCount*"));
        log.Clear();
    });
    EXPECT_GT(early.handles, 0U);
    EXPECT_LE(late.handles, early.handles + kept + 6);
    EXPECT_LT(late.kilobytes, early.kilobytes + 4096);
}

/// Load, play, pause, seek, stop and unload, with loops and a slow callback.
TEST_F(MediaModules, CyclesFromTwoThreadsLeaveNothing) {
    UseScript();
    ASSERT_EQ(media.SetMediaPath("test://320x180@25/80ms?audio=440"), 1);
    media.SetEventCallBackFun(
        [](ymdshow::CMedia*, void* user, long, std::int64_t, std::int64_t) {
            ++*static_cast<std::atomic<int>*>(user);
            Sleep(5);
            return 0;
        },
        &ends);
    media.SetLoop(1);
    const auto cycle = [this](int count, unsigned seed) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (int i = 0; i < count; ++i) {
            seed = seed * 1103515245 + 12345;
            EXPECT_EQ(media.Load(nullptr, 1), 1);
            media.Play();
            Sleep(seed >> 16 & 63);
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
            modules::LetClockRest(); // the other thread may be at the next load meanwhile
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
    const unsigned most = Resources::Now().handles + kept + 6;
    run(20);
    // Threads close the last of theirs a little later.
    unsigned now = 0;
    EXPECT_TRUE(Within(kPatience, [&] { return (now = Resources::Now().handles) <= most; }))
        << now << " handles, not " << most;
    EXPECT_GT(ends, 0);
}

} // namespace
