// The event thread: when it starts, what it does with events, how it ends, and host threads
// that are in its way.

#include "media_play.h"
#include "media_resources.h"

#include <thread>

using namespace media_tests;

namespace {

template <class Condition> bool Within(Condition&& condition, DWORD milliseconds = 20'000) {
    for (const ULONGLONG end = GetTickCount64() + milliseconds; !condition(); Sleep(0)) {
        if (GetTickCount64() >= end) {
            return false;
        }
    }
    return true;
}

/// The host's side. The thread that calls it may be suspended or terminated: no locks here.
struct Host {
    static inline std::atomic<int> calls, entered;
    static inline std::atomic<bool> isHeld;
    static inline std::atomic<int (*)(Media&)> operation; ///< for one event

    Host() { calls = entered = 0; }

    static int On(ymdshow::CMedia* media, void* user, long code, std::int64_t param1,
                  std::int64_t param2) {
        ResultTable none;
        Invoke("host", none, kCall, "Event", std::tuple(code, param1, param2), [] { return S_OK; });
        for (++entered; isHeld;) {
            Sleep(1);
        }
        if (const auto operate = operation.exchange(nullptr); operate != nullptr) {
            EXPECT_EQ(operate(static_cast<Media&>(*media)), 1);
        }
        calls += user == &calls;
        return 0x7fffffff; // nobody looks at it
    }
};

class MediaEvents : public LoadedMedia {
protected:
    Host host;

    void Hear(bool on = true) { media.SetEventCallBackFun(on ? &Host::On : nullptr, &host.calls); }
    bool Called(int calls) {
        return Within([&] { return host.calls >= calls; });
    }
    /// Pushes an event and waits for its callback.
    bool Delivered(long code = EC_USERABORT) {
        const int calls = host.calls;
        Graph().PushEvent(code);
        return Called(calls + 1);
    }
    bool AllFreed() {
        const EventsFacet& events = Graph().events;
        return Within([&] { return events.Waiting() == 0 && events.Unfreed() == 0; });
    }
};

TEST_F(MediaEvents, ThreadStartsOnlyForACallbackOrALoop) {
    const auto set = [&](int wish) {
        Hear(wish == 1);
        media.SetLoop(wish == 2);
        return media.m_hEventThread;
    };
    for (const int wish : {0, 1, 2}) { // none, a callback, a loop
        SCOPED_TRACE(wish);
        Bring(0);
        EXPECT_EQ(set(wish), nullptr) << "not while stopped";
        EXPECT_TRUE(media.Play() && (media.m_hEventThread != nullptr) == (wish != 0));
        set(0);
        Bring(2);
        const HANDLE thread = set(wish);
        set(0); // ends no thread
        EXPECT_EQ(WaitForSingleObject(thread, 150), wish != 0 ? WAIT_TIMEOUT : WAIT_FAILED);
        EXPECT_EQ(set(wish), thread);
    }
    EXPECT_EQ(Media::_EventThreadFun(nullptr), 1U);
    Media unloaded(nullptr);
    EXPECT_EQ(Media::_EventThreadFun(&unloaded), 0U);
}

TEST_F(MediaEvents, ForwardsAndFreesEachAndHandlesTheEnd) {
    Hear();
    ASSERT_EQ(media.Play(), 1);
    Graph().PushEvent(EC_USERABORT, 5, -7);
    Graph().PushEvent(0x8000 + 77, LONG_PTR{1} << 40, -2); // a code of the host's own
    ASSERT_TRUE(Called(2) && AllFreed());
    EXPECT_TRUE(journal.InOrder({"events.GetEventHandle", "events.GetEvent(0)",
                                 "host.Event(2, 5, -7)", "events.FreeEventParams(2, 5, -7)",
                                 "events.GetEvent(0)", "host.Event(32845, 1099511627776, -2)",
                                 "events.FreeEventParams(32845, 1099511627776, -2)"}));
    Hear(false);
    Graph().PushEvent(EC_USERABORT);
    EXPECT_TRUE(AllFreed() && host.calls == 2);
    Hear();
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const bool loop = i % 2 != 0;
        const long code = i < 2 ? EC_COMPLETE : EC_END_OF_SEGMENT;
        media.m_playWindow = i < 2 ? kWindow : nullptr;
        media.SetLoop(loop);
        Bring(2);
        ASSERT_TRUE(Delivered(code) && AllFreed());
        const Lines handled = loop ? Lines({"control.Stop", "control.Run"})
                                   : Lines(i < 2 ? 1 : 0, "window.put_Visible(0)");
        EXPECT_EQ(journal.Matching("control.*") + journal.Matching("window.*"), handled);
        EXPECT_TRUE(journal.InOrder({handled.empty() ? "events.GetEvent(0)" : handled.back(),
                                     "host.Event(*, 0, 0)", "events.FreeEventParams(*, 0, 0)"}));
        const HANDLE thread = media.m_hEventThread;
        if (!loop) { // it ends, and its handle stays until Play replaces it
            EXPECT_EQ(WaitForSingleObject(thread, 20'000), WAIT_OBJECT_0);
            Hear();
            media.SetLoop(1);
            media.SetLoop(0);
            EXPECT_EQ(media.m_hEventThread, thread);
            EXPECT_TRUE(media.Pause() && media.Play());
        }
        EXPECT_TRUE(Delivered() && media.m_playState == 2);
    }
    // The last event of a batch decides; what comes before Play waits for it. A loop does not
    // mind a graph that fails.
    media.SetLoop(0);
    Bring(0);
    Graph().PushEvent(EC_COMPLETE);
    Graph().PushEvent(EC_USERABORT);
    const int calls = host.calls;
    EXPECT_TRUE(media.Play() && Called(calls + 2) && Delivered());
    media.SetLoop(1);
    Graph().control.results["Stop"] = E_FAIL;
    Graph().control.results["Run"] = E_FAIL;
    EXPECT_TRUE(Delivered(EC_COMPLETE) && Delivered());
    EXPECT_EQ(log.Lines(), Lines());
}

TEST_F(MediaEvents, PauseSuspendsPlayResumesStopEnds) {
    Hear();
    ASSERT_EQ(media.Play(), 1);
    const HANDLE thread = media.m_hEventThread;
    for (const bool inCallback : {false, true}) {
        host.isHeld = inCallback;
        const int calls = host.calls;
        Graph().PushEvent(EC_USERABORT);
        ASSERT_TRUE(
            Within([&] { return host.entered > calls && host.calls + inCallback > calls; }));
        ASSERT_EQ(media.Pause(), 1);
        host.isHeld = false;
        Graph().PushEvent(EC_USERABORT);
        EXPECT_FALSE(Within([&] { return host.calls + inCallback != calls + 1; }, 150));
        SuspendThread(thread); // whatever its count is, playing goes on
        EXPECT_TRUE(media.Play() && media.m_hEventThread == thread && Called(calls + 2));
    }
    // A thread that cannot be suspended is told.
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(),
                                &media.m_hEventThread, SYNCHRONIZE | THREAD_QUERY_INFORMATION,
                                FALSE, 0));
    EXPECT_TRUE(media.Pause() && media.m_playState == 1 && media.Play());
    CloseHandle(std::exchange(media.m_hEventThread, thread));
    const std::string text = ": Suspend Event Thread Failed, Error Code 5 : " + std::string(kPath);
    EXPECT_EQ(log.Take(),
              Lines({"16 ymdshow::CMedia::Pause" + text, "16 ymdshow::CMedia::Play" + text}));
    // A paused item's thread ends by itself: Stop seldom takes the time of a termination.
    EXPECT_TRUE(Within([&] {
        EXPECT_TRUE(media.Play() && media.Pause());
        const ULONGLONG start = GetTickCount64();
        EXPECT_TRUE(media.Stop() && media.m_hEventThread == nullptr);
        return GetTickCount64() - start < 450;
    }));
    // A callback that waits for the lock that Stop holds is terminated. Then another thread
    // gets the lock, and the item still plays.
    host.operation = [](Media& m) {
        while (std::atomic_ref<std::int32_t>(m.m_playState) != State_Stopped) {
            Sleep(1);
        }
        return m.SetVolume(-5L);
    };
    ASSERT_EQ(media.Play(), 1);
    host.entered = host.calls = 0;
    Graph().PushEvent(EC_USERABORT);
    ASSERT_TRUE(Within([&] { return host.entered == 1; }));
    const ULONGLONG start = GetTickCount64();
    EXPECT_TRUE(media.Stop() && media.m_hEventThread == nullptr);
    EXPECT_GE(GetTickCount64() - start, 450U);
    EXPECT_FALSE(Within([&] { return host.calls != 0; }, 50));
    std::thread([&] { EXPECT_EQ(media.Play(), 1); }).join();
    EXPECT_TRUE(Delivered());
}

TEST_F(MediaEvents, ACallbackMayDriveItsOwnItem) {
    const std::pair<int (*)(Media&), std::int32_t> cases[] = {
        {[](Media& m) { return m.SetMediaPosition(kSecond); }, 2},
        {[](Media& m) { return m.Pause(); }, 1},
        {[](Media& m) { return m.Pause(), m.Play(); }, 2},
        {[](Media& m) { return m.Stop(); }, 0},
        {[](Media& m) { return m.Stop(), m.Play(); }, 2},
        {[](Media& m) { return m.Unload(); }, 0},
        {[](Media& m) { return m.Unload(), m.Play(); }, 2},
    };
    Hear();
    for (int i = 0; i < 70; ++i) { // a thread that leaves is met at various places
        SCOPED_TRACE(i);
        const auto& [operation, state] = cases[i % 7];
        const long code = i / 7 % 2 != 0 ? EC_USERABORT : EC_COMPLETE;
        ASSERT_EQ(media.Play(), 1);
        const ComPtr<FakeGraph> graph(&Graph()); // outlives an unload
        host.operation = operation;
        const int calls = host.calls;
        graph->PushEvent(code);
        if (state == 1) {
            graph->PushEvent(EC_USERABORT); // rests
        }
        ASSERT_TRUE(Called(calls + 1));
        EXPECT_EQ(media.m_playState, state);
        if (i < 14) {
            // An event goes with the graph that the callback unloads, its parameters too.
            EXPECT_TRUE(Within([&] { return graph->events.Unfreed() == (i % 7 > 4); }));
            EXPECT_FALSE(Within([&] { return host.calls != calls + 1; }, 50));
        }
        EXPECT_TRUE(state == 2 || media.Play() == 1);
        EXPECT_TRUE(state != 1 || Called(calls + 2)); // the one that rested
        // Only an end after which nothing was played anew ends the thread.
        EXPECT_TRUE((i % 7 == 0 && code == EC_COMPLETE) || Delivered());
        EXPECT_EQ(media.Stop(), 1);
    }
}

TEST_F(MediaEvents, CallsOfTwoThreadsNeitherOverlapNorWaitForEachOthersMessages) {
    const std::function<int(Media&)> operations[] = {
        &Media::Pause,
        &Media::Stop,
        &Media::UnlinkAllFilter,
        &Media::Unload,
        // It plays on after these.
        [](Media& m) { return m.SetMediaPosition(0); },
        [](Media& m) { return m.GetMediaPosition() == 0 ? 1 : 0; },
        [](Media& m) { return m.SetAmain(1), m.IsAmain() == 0 ? 1 : 0; },
    };
    // One call of another thread takes time and sends a message to this one's window.
    static std::atomic<const char*> slow;
    static std::atomic<int> entered, inside, overlaps;
    static const DWORD self = GetCurrentThreadId();
    static const HWND window =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 8, 8, HWND_MESSAGE, nullptr, nullptr, nullptr);
    journal.SetListener([](std::string_view line) {
        if (GetCurrentThreadId() == self) {
            overlaps += inside;
        } else if (line == slow.load() && entered == 0) {
            inside = ++entered;
            Sleep(100);
            SendMessageW(window, WM_NULL, 0, 0);
            inside = 0;
        }
    });
    const auto begun = [] { return entered != 0; };
    media.m_playWindow = kWindow;
    Hear();
    for (int i = 0; i < 21; ++i) {
        SCOPED_TRACE(i);
        const bool playsOn = i % 7 > 3;
        const bool loops = i < 14;
        media.SetLoop(loops);
        ASSERT_EQ(media.Play(), 1);
        const ComPtr<FakeGraph> graph(&Graph());
        const int calls = host.calls;
        entered = 0;
        slow = i < 7 ? "control.Run" : loops ? "control.Stop" : "window.put_Visible(0)";
        graph->PushEvent(EC_COMPLETE);
        ASSERT_TRUE(Within(begun));
        EXPECT_EQ(operations[i % 7](media), 1);
        EXPECT_TRUE(inside == 0 && overlaps == 0) << "not answered, or a call meanwhile";
        EXPECT_FALSE(Within([&] { return graph->control.state != media.m_playState; }, 20) &&
                     !playsOn);
        EXPECT_TRUE(media.Load(nullptr, 0) && media.Play());
        EXPECT_TRUE(Called(calls + 1) && (!loops || Delivered())) << "it still listens";
        EXPECT_TRUE(media.Stop() && graph->events.Unfreed() == 0);
    }
    // The same while another thread has the item's lock.
    ASSERT_EQ(media.Play(), 1);
    entered = 0;
    slow = "control.Pause";
    std::thread other([&] { EXPECT_EQ(media.Pause(), 1); });
    EXPECT_TRUE(Within(begun) && media.GetVolume() == 0 && inside == 0);
    other.join();
    journal.SetListener(nullptr);
    DestroyWindow(window);
}

TEST_F(MediaEvents, TwoHundredCyclesFromTwoThreads) {
    configure = [](FakeGraph& graph) {
        for (int i = 0; i < 16; ++i) {
            graph.PushEvent(i % 3 == 0 ? EC_USERABORT : EC_COMPLETE);
        }
    };
    Hear();
    media.SetLoop(1);
    journal.SetKinds(0);
    const auto cycle = [this](int count, unsigned seed) {
        for (int i = 0; i < count; ++i) {
            seed = seed * 1103515245 + 12345;
            EXPECT_EQ(media.Play(), 1);
            host.isHeld = true;
            Sleep(seed >> 16 & 3);
            host.isHeld = false;
            media.Pause();
            media.SetMediaPosition(kSecond);
            if ((seed >> 20 & 1) != 0) {
                media.Play();
                Sleep(seed >> 22 & 3);
            }
            EXPECT_EQ(media.Unload(), 1);
        }
    };
    cycle(5, 1);
    const unsigned before = Resources::Now().handles;
    std::thread other(cycle, 100, 2);
    cycle(100, 3);
    other.join();
    EXPECT_TRUE(Within([&] { return Resources::Now().handles < before + 20; }));
    EXPECT_GT(host.calls, 50);
    EXPECT_EQ(log.Count("16 *"), 0U);
}

} // namespace
