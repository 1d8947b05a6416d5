// The event thread: when it starts, what it does with events, how it ends, and host threads
// that are in its way.

#include "media_play.h"
#include "media_resources.h"

#include <stdexcept>
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
    static inline std::atomic<bool> isHeld, asks; ///< until let go; calls a locked operation then
    static inline std::atomic<int (*)(Media&)> operation; ///< for one event

    Host() {
        calls = entered = 0;
        isHeld = asks = false;
    }

    static int On(ymdshow::CMedia* media, void* user, long code, std::int64_t param1,
                  std::int64_t param2) {
        ResultTable none;
        Invoke("host", none, kCall, "Event", std::tuple(code, param1, param2), [] { return S_OK; });
        const struct Count {
            ~Count() { calls += isOurs; }
            bool isOurs;
        } count{user == &calls};
        for (++entered; isHeld; Sleep(1)) {
            static_cast<void>(asks && media->GetVolume() != 0);
        }
        if (const auto operate = operation.exchange(nullptr); operate != nullptr) {
            EXPECT_EQ(operate(static_cast<Media&>(*media)), 1);
        }
        return 0x7fffffff; // nobody looks at it
    }
};

/// Done once by the procedure of this thread's window, which lets the sender of a message go on.
std::function<void()> deed;
std::atomic<bool> isAsked; ///< for it
bool isSenderHeld;         ///< it is not let go on

const HWND window = [] {
    const HWND made =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 8, 8, HWND_MESSAGE, nullptr, nullptr, nullptr);
    const WNDPROC procedure = [](HWND, UINT, WPARAM, LPARAM) -> LRESULT {
        if (!isSenderHeld) {
            ReplyMessage(0);
        }
        const auto act = std::exchange(deed, nullptr);
        return act != nullptr ? act(), 0 : 0;
    };
    SetWindowLongPtrW(made, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
    return made;
}();

/// Once on another thread, which is then at it for a while.
int Ask(Media&) {
    if (!isAsked.exchange(true)) {
        SendMessageW(window, WM_NULL, 0, 0);
        Sleep(20);
    }
    return 1;
}

/// Its memory tells when it is used after its end, and is kept.
struct Mortal : Media {
    using Media::Media;
    static inline BYTE* grave = nullptr;
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* memory) {
        grave = static_cast<BYTE*>(std::memset(memory, 0xDD, sizeof(Mortal)));
    }
    static bool RestsInPeace() {
        return std::all_of(grave, grave + sizeof(Mortal), [](BYTE byte) { return byte == 0xDD; });
    }
};

class MediaEvents : public LoadedMedia {
protected:
    Host host;

    void Hear(bool on = true) { media.SetEventCallBackFun(on ? &Host::On : nullptr, &host.calls); }
    bool Called(int calls, DWORD milliseconds = 20'000) {
        return Within([&] { return host.calls >= calls; }, milliseconds);
    }
    /// Pushes an event and waits for its callback.
    bool Delivered(long code = EC_USERABORT, DWORD milliseconds = 20'000) {
        const int calls = host.calls;
        Graph().PushEvent(code);
        return Called(calls + 1, milliseconds);
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
    ASSERT_TRUE(Delivered() && media.Pause());
    Graph().PushEvent(EC_USERABORT);
    EXPECT_FALSE(Called(2, 150));
    SuspendThread(thread); // whatever its count is, playing goes on
    EXPECT_TRUE(media.Play() && media.m_hEventThread == thread && Called(2));
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
}

TEST_F(MediaEvents, OnlyAnEndWaitsForACallback) {
    const auto isInTime = [&](int i) {
        auto item = std::make_unique<Media>(kPath, nullptr);
        item->SetEventCallBackFun(&Host::On, &host.calls);
        host.asks = i % 2 != 0;
        host.isHeld = true;
        host.entered = host.calls = 0;
        EXPECT_EQ(item->Play(), 1);
        Graph().PushEvent(EC_USERABORT);
        EXPECT_TRUE(Within([&] { return host.entered == 1; }));
        const ULONGLONG start = GetTickCount64();
        ULONGLONG stopped = i < 2 ? 0 : INFINITE;
        const Midst midst("control.Stop", [&](auto) { stopped = GetTickCount64() - start; });
        if (i < 2) {
            EXPECT_TRUE(item->SetMediaPosition(0) && item->TimeClip(0, 0) && item->Pause());
            EXPECT_TRUE(item->Play() && item->IsPlaying() && item->GetVolume() == 0);
            item->SetAmain(1);
            item->SetEventCallBackFun(&Host::On, &host.calls);
        } else if (i < 6) {
            EXPECT_EQ(i < 4 ? item->Stop() : item->Unload(), 1);
        } else {
            item.reset();
        }
        const ULONGLONG taken = GetTickCount64() - start;
        host.isHeld = false;
        EXPECT_EQ(Called(1, i < 2 ? 20'000 : 30), i < 2) << "or terminated";
        if (item != nullptr) { // the thread took no lock with it
            std::thread([&] { EXPECT_EQ(item->Play(), 1); }).join();
            EXPECT_TRUE(Delivered());
        }
        return stopped < 150 && (i < 2 ? taken < 150 : taken >= 450 && taken < 900);
    };
    for (int i = 0; i < 8; ++i) { // a busy machine may take its time now and then
        EXPECT_TRUE(Within([&] { return isInTime(i); }, 3000)) << i;
    }
}

TEST_F(MediaEvents, WhatTakesTheHostsTimeKeepsNoEventsAway) {
    Midst::Act wait = [&](auto) { EXPECT_TRUE(HasFailure() || Delivered(EC_COMPLETE, 5000)); };
    Hear();
    media.SetLoop(1);
    ASSERT_EQ(media.Play(), 1);
    media.EnumMediaFilter(
        [](IBaseFilter*, void* user) { (*static_cast<decltype(wait)*>(user))(""); }, &wait, 1);
    FakeFilter& first = *AsFake<FakeFilter>(media.m_usedFilters[0]);
    first.propertyPages.present = true;
    first.propertyPages.results["GetPages"] = E_FAIL; // else a dialog
    const Midst midst(first.Name() + ".*", wait, true);
    std::wstring listing;
    media.GetFilterInfo(listing);
    media.ShowFilterPropertyPage(0, nullptr);
    EXPECT_GE(host.calls, 5);
}

TEST_F(MediaEvents, ABatchIsDeliveredWhole) {
    Hear();
    media.SetLoop(1);
    for (int i = 0; i < 3; ++i) { // the first callback stops or pauses, or is paused
        Bring(0);
        Graph().PushEvent(EC_USERABORT);
        Graph().PushEvent(EC_COMPLETE);
        host.calls = host.entered = 0;
        host.isHeld = i == 2;
        host.operation =
            i == 0 ? +[](Media& m) { return m.Stop(); } : +[](Media& m) { return m.Pause(); };
        EXPECT_TRUE(media.Play() && Within([&] { return host.entered != 0; }));
        EXPECT_TRUE(i != 2 || media.Pause());
        host.isHeld = false;
        EXPECT_TRUE(Called(1));
        EXPECT_EQ(Called(2, i == 0 ? 5000 : 100), i == 0) << "what is left waits for Play";
        EXPECT_TRUE(journal.Count("control.Run") == 1 && media.m_playState == (i != 0));
        EXPECT_TRUE(media.Play() && Called(2) && Delivered() && host.calls == 3);
    }
}

TEST_F(MediaEvents, ACallbackMayDriveItsOwnItem) {
    const std::pair<int (*)(Media&), std::int32_t> cases[] = {
        {[](Media& m) { return m.SetMediaPosition(kSecond); }, 2},
        {[](Media&) -> int { throw std::runtime_error("broken"); }, 2},
        {[](Media& m) { return m.Pause(); }, 1},
        {[](Media& m) { return m.Pause(), m.Play(); }, 2},
        {[](Media& m) { return m.Stop(); }, 0},
        {[](Media& m) { return m.Stop(), m.Play(); }, 2},
        {[](Media& m) { return m.Unload(); }, 0},
        {[](Media& m) { return m.Unload(), m.Play(); }, 2},
    };
    Hear();
    for (int i = 0; i < 80; ++i) { // a thread that leaves is met at various places
        SCOPED_TRACE(i);
        const auto& [operation, state] = cases[i % 8];
        const long code = i / 8 % 2 != 0 ? EC_USERABORT : EC_COMPLETE;
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
        if (i < 16) {
            // Also the event whose callback unloads the item.
            EXPECT_TRUE(Within([&] { return graph->events.Unfreed() == 0; }));
            EXPECT_FALSE(Within([&] { return host.calls != calls + 1; }, 50));
        }
        EXPECT_TRUE(state == 2 || media.Play() == 1);
        EXPECT_TRUE(state != 1 || Called(calls + 2)); // the one that rested
        // Only an end after which nothing was played anew ends the thread.
        EXPECT_TRUE((i % 8 < 2 && code == EC_COMPLETE) || Delivered());
        EXPECT_EQ(media.Stop(), 1);
    }
}

TEST_F(MediaEvents, WaitsAnswerMessagesWhateverAWindowDoesThen) {
    OpenPlayer player;
    Mortal* item = nullptr;
    const struct {
        std::function<int(Media&)> operation;
        int gone; ///< its answer when the item is unloaded or destroyed meanwhile; -1: any
    } operations[] = {
        {&Media::Stop, -1},
        {&Media::Pause, 0},
        {&Media::UnlinkAllFilter, 0},
        {&Media::Unload, 1},
        {&Media::IsPlaying, 0},
        {[](Media& m) { return m.IsStopped() == 0 ? 1 : 0; }, -1},
        {[](Media& m) { return m.SetMediaPosition(0); }, 0},
        {[](Media& m) { return m.TimeClip(0, kSecond); }, -1},
        {[](Media& m) { return m.GetMediaPosition() == 0 ? 1 : 0; }, -1},
        {[](Media& m) { return m.SetAmain(1), 1; }, -1},
    };
    const std::pair<std::string, std::function<void()>> deeds[] = {
        {"nothing", [] {}},
        {"stopped", [&] { item->Stop(); }},
        {"played anew", [&] { item->Stop(), item->Play(); }},
        {"loaded anew", [&] { item->Unload(), item->Load(nullptr, 0); }},
        {"unloaded", [&] { item->Unload(); }},
        {"deleted", [&] { delete item; }},
        {"removed", [&] { player.RemoveMedia(0U); }},
    };
    const char* const places[] = {"", "control.Run", "control.Stop", "window.put_Visible(0)"};
    std::atomic<bool> isInside, overlaps;
    for (const auto& [what, act] : deeds) {
        for (std::size_t i = 0; i < std::size(operations) * (what == "nothing" ? 4 : 2); ++i) {
            SCOPED_TRACE(what + std::to_string(i));
            const auto& [operation, gone] = operations[i % std::size(operations)];
            const std::string place = places[i / std::size(operations)]; // in the callback first
            player.m_medias = {item = new Mortal(kPath, &player)};
            item->SetEventCallBackFun(&Host::On, &host.calls);
            item->SetLoop(place[0] != 'w');
            item->m_playWindow = kWindow;
            ASSERT_EQ(item->Play(), 1);
            const ComPtr<FakeGraph> graph(&Graph());
            isAsked = isInside = overlaps = false;
            const auto listen = [&](std::string_view line) {
                if (GetCurrentThreadId() == GetWindowThreadProcessId(window, nullptr)) {
                    overlaps = overlaps || isInside;
                } else if (line == place && !isAsked) {
                    isInside = true;
                    isInside = Ask(media) == 0;
                }
            };
            const Midst midst("*", listen, true);
            host.operation = place.empty() ? &Ask : nullptr;
            deed = act;
            graph->PushEvent(EC_COMPLETE);
            ASSERT_TRUE(Within([] { return isAsked.load(); }));
            const int answer = operation(*item);
            const bool hasWaited = deed == nullptr;
            EXPECT_TRUE(!isInside && !overlaps && (hasWaited || place.empty()));
            for (MSG message; deed != nullptr;) { // it waits for no callback
                PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
            }
            const bool isDead = player.m_medias.empty();
            const bool isGone = hasWaited && (isDead || what == "unloaded");
            EXPECT_TRUE(isGone ? gone < 0 || answer == gone : what != "nothing" || answer == 1);
            ASSERT_TRUE(!isDead || Mortal::RestsInPeace());
            if (isDead) {
                continue;
            }
            const bool plays = what == "nothing" || what == "played anew";
            EXPECT_TRUE(graph->control.state == (plays ? item->m_playState : 0) ||
                        what == "loaded anew" || what == "unloaded"); // a paused one's
            EXPECT_TRUE(plays || item->m_playState == 0);
            // A playback that is begun while Stop waits for the callback goes on.
            EXPECT_TRUE(i != 0 || what != "played anew" || item->m_playState == 2);
            EXPECT_TRUE(i != 0 || what != "played anew" ||
                        WaitForSingleObject(item->m_hEventThread, 0) == WAIT_TIMEOUT);
            ASSERT_TRUE(!HasFailure() && item->Load(nullptr, 0) && item->Play() &&
                        (place[0] == 'w' || Delivered()));
            delete item;
        }
    }
    // The same while another thread has the item's lock.
    ASSERT_EQ(media.Play(), 1);
    isAsked = false;
    const Midst midst("control.Pause", [&](auto) {
        isInside = true;
        isInside = Ask(media) == 0;
    });
    std::thread other([&] { EXPECT_EQ(media.Pause(), 1); });
    EXPECT_TRUE(Within([] { return isAsked.load(); }) && media.GetVolume() == 0 && !isInside);
    other.join();
}

TEST_F(MediaEvents, AWindowThatIsToldInTheGraphMayAskTheItem) {
    Hear();
    media.m_playWindow = kWindow;
    long state = 0;
    isSenderHeld = true;
    for (const char* call : {"control.Run", "window.put_Visible(0)"}) {
        media.SetLoop(*call == 'c');
        ASSERT_EQ(media.Play(), 1);
        deed = [&] { state = media.GetPlayState() + media.Stop(); };
        const Midst midst(call, [](auto) { SendMessageW(window, WM_NULL, 0, 0); });
        Graph().PushEvent(EC_COMPLETE);
        EXPECT_TRUE(Within([&] {
            MSG message;
            PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
            return std::exchange(state, 0) == State_Running + 1;
        }));
    }
    isSenderHeld = false;
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
