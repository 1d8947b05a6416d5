// The event thread: when it starts, what it does with events, how it ends.

#include "media_events.h"
#include "media_resources.h"

#include <thread>

using namespace media_tests;

namespace {

DWORD SuspendCount(HANDLE thread) {
    const DWORD count = SuspendThread(thread);
    ResumeThread(thread);
    return count;
}

TEST_F(MediaEvents, ThreadStartsOnlyForACallbackOrALoop) {
    const auto play = [&](bool callback, int loop) {
        media.SetEventCallBackFun(callback ? &Host::Event : nullptr, &host);
        media.SetLoop(loop);
        EXPECT_EQ(media.m_hEventThread, nullptr) << "not while stopped";
        EXPECT_EQ(media.Play(), 1);
        const bool started = media.m_hEventThread != nullptr;
        EXPECT_EQ(media.Stop(), 1);
        EXPECT_EQ(media.m_hEventThread, nullptr);
        return started;
    };
    EXPECT_FALSE(play(false, 0));
    EXPECT_TRUE(play(true, 0));
    EXPECT_TRUE(play(false, 1));
    IMediaEventEx* const events = std::exchange(media.m_pMediaEvent, nullptr);
    EXPECT_FALSE(play(true, 1));
    media.m_pMediaEvent = events;
    media.SetEventCallBackFun(nullptr, nullptr);
    media.SetLoop(0);

    // While it plays, setting one of the two is enough; not while it is paused.
    for (const bool byCallback : {true, false}) {
        const auto set = [&](bool on) {
            media.SetLoop(on && !byCallback);
            media.SetEventCallBackFun(on && byCallback ? &Host::Event : nullptr, &host);
        };
        Bring(media, 1);
        set(true);
        EXPECT_EQ(media.m_hEventThread, nullptr);
        set(false);
        Bring(media, 2);
        EXPECT_EQ(media.m_hEventThread, nullptr);
        set(true);
        const HANDLE thread = media.m_hEventThread;
        EXPECT_NE(thread, nullptr);
        set(false); // ends no thread
        set(true);
        EXPECT_EQ(media.m_hEventThread, thread);
        EXPECT_EQ(WaitForSingleObject(thread, 0), DWORD{WAIT_TIMEOUT});
        set(false);
        media.Stop();
    }
    EXPECT_EQ(Media::_EventThreadFun(nullptr), 1U);
    Media unloaded(nullptr);
    EXPECT_EQ(Media::_EventThreadFun(&unloaded), 0U);
}

TEST_F(MediaEvents, ForwardsEveryEventAndFreesItAfterTheCallback) {
    Listen();
    ASSERT_EQ(media.Play(), 1);
    Graph().PushEvent(EC_USERABORT, 5, -7);
    Graph().PushEvent(EC_ERRORABORT, LONG_PTR{1} << 40, 0);
    Graph().PushEvent(0x8000 + 77, -1, -2); // a code of the host's own
    ASSERT_TRUE(Called(3));
    EXPECT_EQ(host.lastMedia, &media);
    EXPECT_TRUE(Within(2000, [&] { return Graph().events.Unfreed() == 0; }));
    EXPECT_TRUE(journal.InOrder({"events.GetEventHandle", "events.GetEvent(0)",
                                 "callback(2, 5, -7)", "events.FreeEventParams(2, 5, -7)",
                                 "events.GetEvent(0)", "callback(3, 1099511627776, 0)",
                                 "events.FreeEventParams(3, 1099511627776, 0)",
                                 "events.GetEvent(0)", "callback(32845, -1, -2)",
                                 "events.FreeEventParams(32845, -1, -2)", "events.GetEvent(0)"}));
    // Without the callback events are taken and freed all the same.
    media.SetEventCallBackFun(nullptr, nullptr);
    Graph().PushEvent(EC_USERABORT);
    EXPECT_TRUE(Within(
        2000, [&] { return Graph().events.Waiting() == 0 && Graph().events.Unfreed() == 0; }));
    EXPECT_EQ(host.calls, 3);
    EXPECT_EQ(media.Stop(), 1);
}

TEST_F(MediaEvents, EndOfPlayback) {
    media.m_playWindow = reinterpret_cast<HWND>(0x123456);
    Listen();
    for (const long code : {EC_COMPLETE, EC_END_OF_SEGMENT}) {
        for (const bool loop : {false, true}) {
            SCOPED_TRACE(std::to_string(code) + (loop ? " looping" : ""));
            media.SetLoop(loop);
            Bring(media, 2);
            journal.Clear();
            ASSERT_TRUE(Delivered(code));
            const std::string number = std::to_string(code);
            const std::string callback = "callback(" + number + ", 0, 0)";
            const std::string freed = "events.FreeEventParams(" + number + ", 0, 0)";
            EXPECT_TRUE(Within(2000, [&] { return journal.Count(freed) == 1; }));
            if (loop) {
                EXPECT_TRUE(journal.InOrder({"control.Stop", "control.Run", callback, freed}));
                EXPECT_EQ(journal.Count("window.*"), 0U);
                EXPECT_TRUE(Delivered()) << "the thread lives on";
                EXPECT_EQ(media.m_playState, 2);
            } else {
                EXPECT_TRUE(journal.InOrder({"window.put_Visible(0)", callback, freed}));
                EXPECT_EQ(journal.Count("control.*"), 0U);
                ASSERT_TRUE(Ended());
                DWORD exitCode = 77;
                GetExitCodeThread(media.m_hEventThread, &exitCode);
                EXPECT_EQ(exitCode, 0U);
                // The ended thread's handle stays until Play replaces it.
                const HANDLE ended = media.m_hEventThread;
                Listen();
                media.SetLoop(1);
                media.SetLoop(0);
                EXPECT_EQ(media.m_hEventThread, ended);
                EXPECT_EQ(media.Pause(), 1);
                EXPECT_EQ(media.Play(), 1);
                EXPECT_TRUE(Delivered());
            }
        }
    }
    // The last event of a batch decides; a loop needs no window, a graph that fails is left.
    media.SetLoop(0);
    Bring(media, 0);
    Graph().PushEvent(EC_COMPLETE);
    Graph().PushEvent(EC_USERABORT);
    host.calls = 0;
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Called(2));
    EXPECT_TRUE(Delivered());
    media.SetLoop(1);
    Graph().control.results["Stop"] = E_FAIL;
    Graph().control.results["Run"] = E_FAIL;
    EXPECT_TRUE(Delivered(EC_COMPLETE));
    EXPECT_TRUE(Delivered());
    EXPECT_EQ(log.Lines(), Lines());
    Graph().control.results.Clear();
}

TEST_F(MediaEvents, PauseSuspendsAndPlayResumes) {
    Listen();
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(Delivered());
    ASSERT_EQ(media.Pause(), 1);
    const HANDLE thread = media.m_hEventThread;
    EXPECT_EQ(SuspendCount(thread), 1U);
    for (long code = 100; code < 103; ++code) {
        Graph().PushEvent(code);
    }
    Sleep(250);
    EXPECT_EQ(host.calls, 1);
    EXPECT_EQ(Graph().events.Waiting(), 3U);
    SuspendThread(thread); // whatever its count is, playing goes on
    SuspendThread(thread);
    ASSERT_EQ(media.Play(), 1);
    EXPECT_EQ(media.m_hEventThread, thread);
    EXPECT_EQ(SuspendCount(thread), 0U);
    ASSERT_TRUE(Called(4));
    EXPECT_EQ(host.lastCode, 102);

    // A thread that cannot be suspended or resumed: told, and passed over.
    HANDLE weak = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &weak,
                                SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, 0));
    media.m_hEventThread = weak;
    EXPECT_EQ(media.Pause(), 1);
    EXPECT_EQ(media.m_playState, 1);
    EXPECT_EQ(media.Play(), 1);
    const std::string text = ": Suspend Event Thread Failed, Error Code 5 : " + std::string(kPath);
    EXPECT_EQ(log.Take(),
              Lines({"16 ymdshow::CMedia::Pause" + text, "16 ymdshow::CMedia::Play" + text}));
    media.m_hEventThread = thread;
    CloseHandle(weak);

    // A paused item's thread ends too.
    ASSERT_EQ(media.Pause(), 1);
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(media.Stop(), 1);
    EXPECT_LT(GetTickCount64() - start, 450U);
    EXPECT_EQ(media.m_hEventThread, nullptr);
}

TEST_F(MediaEvents, ACallbackThatDoesNotReturnIsTerminated) {
    // One sleeps, the other waits for the lock that Stop holds.
    Listen();
    for (const bool waitsForLock : {false, true}) {
        SCOPED_TRACE(waitsForLock);
        host.entered = host.calls = 0;
        host.delay = waitsForLock ? 100 : 10'000;
        if (waitsForLock) {
            host.operation = [](ymdshow::CMedia& m) { return m.SetVolume(-5L); };
        }
        ASSERT_EQ(media.Play(), 1);
        Graph().PushEvent(EC_USERABORT);
        ASSERT_TRUE(Within(5000, [&] { return host.entered == 1; }));
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(media.Stop(), 1);
        EXPECT_GE(GetTickCount64() - start, 450U);
        EXPECT_LT(GetTickCount64() - start, 3000U);
        EXPECT_EQ(media.m_hEventThread, nullptr);
        Sleep(50);
        EXPECT_EQ(host.calls, 0);
        // Another thread still gets the lock, and the item still plays.
        host.delay = 0;
        host.operation = nullptr;
        std::thread([&] { EXPECT_EQ(media.Play(), 1); }).join();
        EXPECT_TRUE(Delivered());
        EXPECT_EQ(media.Stop(), 1);
    }
}

TEST_F(MediaEvents, ACallbackMayDriveItsOwnItem) {
    const struct {
        const char* name;
        int (*operation)(ymdshow::CMedia&);
        std::int32_t state;
    } cases[] = {
        {"seek", [](ymdshow::CMedia& m) { return m.SetMediaPosition(kSecond); }, 2},
        {"pause", [](ymdshow::CMedia& m) { return m.Pause(); }, 1},
        {"pause and play", [](ymdshow::CMedia& m) { return m.Pause() & m.Play(); }, 2},
        {"stop", [](ymdshow::CMedia& m) { return m.Stop(); }, 0},
        {"stop and play", [](ymdshow::CMedia& m) { return m.Stop() & m.Play(); }, 2},
        {"unload", [](ymdshow::CMedia& m) { return m.Unload(); }, 0},
        {"unload and play", [](ymdshow::CMedia& m) { return m.Unload() & m.Play(); }, 2},
    };
    for (const auto& item : cases) {
        for (const long code : {EC_USERABORT, EC_COMPLETE}) {
            SCOPED_TRACE(item.name + std::string(", event ") + std::to_string(code));
            Listen();
            ASSERT_EQ(media.Play(), 1);
            const ComPtr<FakeGraph> graph(&Graph()); // outlives an unload
            host.result = -1;
            host.operation = item.operation;
            ASSERT_TRUE(Delivered(code));
            host.operation = nullptr;
            EXPECT_EQ(host.result, 1);
            EXPECT_EQ(media.m_playState, item.state);
            if (media.m_playState != 2) {
                EXPECT_EQ(media.Play(), 1);
            }
            // Only an end after which nothing was played anew ends the thread.
            EXPECT_TRUE((item.name == std::string("seek") && code == EC_COMPLETE) || Delivered());
            EXPECT_EQ(media.Stop(), 1);
            // A callback that has unloaded the item took the event with the graph.
            const bool unloads = std::string_view(item.name).starts_with("unload");
            EXPECT_EQ(graph->events.Unfreed(), unloads ? 1 : 0);
        }
    }
}

TEST_F(MediaEvents, PlayReplacesAThreadThatIsLeaving) {
    Listen();
    for (int i = 0; i < 30; ++i) {
        host.operation = [](ymdshow::CMedia& m) { return m.Pause(); };
        ASSERT_EQ(media.Play(), 1);
        const int calls = host.calls;
        Graph().PushEvent(EC_COMPLETE);
        while (host.calls == calls) {
        }
        host.operation = nullptr;
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Delivered()) << i;
        ASSERT_EQ(media.Stop(), 1);
        ASSERT_EQ(media.m_hEventThread, nullptr);
        // What comes after Stop waits for the next Play, which takes it first.
        Graph().PushEvent(EC_USERABORT);
        EXPECT_EQ(host.calls, calls + 2);
        EXPECT_EQ(Graph().events.Waiting(), 1U);
        EXPECT_EQ(Graph().events.Unfreed(), 0);
        ASSERT_EQ(media.Play(), 1);
        ASSERT_TRUE(Called(calls + 3)) << i;
        ASSERT_EQ(media.Stop(), 1);
    }
}

/// A host thread's cycles, and a callback that must not come between Unload and Play.
struct Cycles {
    Media& media;
    bool isAlone; ///< nobody else drives the item
    std::atomic<bool> quiet{true};
    std::atomic<int> calls{0};
    std::atomic<int> late{0};
    unsigned seed = 1;

    unsigned Random(unsigned below) {
        seed = seed * 1103515245 + 12345;
        return (seed >> 16) % below;
    }
    static int Event(ymdshow::CMedia*, void* user, long, std::int64_t, std::int64_t) {
        auto& self = *static_cast<Cycles*>(user);
        self.late += self.isAlone && self.quiet;
        Sleep(static_cast<DWORD>(self.calls++ % 4));
        self.late += self.isAlone && self.quiet;
        return 0;
    }
    void Run(int count) {
        for (int i = 0; i < count; ++i) {
            quiet = false;
            EXPECT_EQ(media.Play(), 1);
            Sleep(Random(5));
            media.Pause();
            media.SetMediaPosition(kSecond);
            if (Random(2) != 0) {
                media.Play();
                media.SetMediaPosition(0);
                Sleep(Random(3));
            }
            if (Random(2) != 0) {
                media.Stop();
            }
            EXPECT_EQ(media.Unload(), 1);
            quiet = true;
        }
    }
};

class MediaLoadTest : public MediaTest, public testing::WithParamInterface<bool> {};

TEST_P(MediaLoadTest, TwoHundredCyclesFromTwoThreads) {
    const bool isShared = GetParam();
    configure = [](FakeGraph& graph) {
        for (int i = 0; i < 16; ++i) {
            graph.PushEvent(i % 3 == 0 ? EC_USERABORT : EC_COMPLETE);
        }
    };
    journal.SetKinds(0);
    Media items[2] = {Media(nullptr), Media(nullptr)};
    Cycles cycles[2] = {{items[0], !isShared},
                        {items[isShared ? 0 : 1], !isShared, {}, {}, {}, 99}};
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(items[i].SetMediaPath(kPath), 1);
        items[i].SetLoop(1);
        items[i].SetEventCallBackFun(&Cycles::Event, &cycles[i]);
    }
    cycles[0].Run(5);
    const Resources before = Resources::Now();
    std::thread first([&] { cycles[0].Run(200); });
    std::thread second([&] { cycles[1].Run(200); });
    first.join();
    second.join();
    items[0].Unload();
    items[1].Unload();
    EXPECT_LT(Resources::Now().handles, before.handles + 20) << "of 400 cycles";
    EXPECT_GT(cycles[0].calls + cycles[1].calls, 50);
    EXPECT_EQ(cycles[0].late + cycles[1].late, 0) << "an event after Unload returned";
    EXPECT_EQ(log.Count("16 *"), 0U);
    journal.SetKinds(kCall);
}

INSTANTIATE_TEST_SUITE_P(Items, MediaLoadTest, testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Shared" : "Own"; });

} // namespace
