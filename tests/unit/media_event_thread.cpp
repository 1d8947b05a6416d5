// The event thread and host threads in each other's way: calls of the graph that take time, or
// that send messages to a window of another thread.

#include "media_events.h"

#include <thread>

using namespace media_tests;

namespace {

/// What the calls of the event thread do before they are carried out.
struct SlowCalls {
    static inline std::atomic<const char*> call{nullptr}; ///< the journal's line
    static inline std::atomic<DWORD> delay{0};
    static inline std::atomic<HWND> window{nullptr}; ///< gets a message meanwhile
    static inline std::atomic<DWORD> hostThread{0};
    static inline std::atomic<bool> isIn{false};
    static inline std::atomic<int> entered{0};
    static inline std::atomic<int> overlaps{0}; ///< calls of the host's thread meanwhile

    SlowCalls(const char* line, DWORD milliseconds, HWND target = nullptr) {
        call = line;
        delay = milliseconds;
        window = target;
        hostThread = GetCurrentThreadId();
        entered = overlaps = 0;
        Journal::Get().SetListener(&Listen);
    }
    ~SlowCalls() { Journal::Get().SetListener(nullptr); }

    static bool Entered() {
        for (const ULONGLONG start = GetTickCount64(); GetTickCount64() - start < 5000; Sleep(1)) {
            if (entered != 0) {
                return true;
            }
        }
        return false;
    }

private:
    static void Listen(std::string_view line) {
        if (GetCurrentThreadId() == hostThread) {
            overlaps += isIn ? 1 : 0;
        } else if (line == call.load()) {
            isIn = true;
            ++entered;
            Sleep(delay);
            if (window != nullptr) {
                SendMessageW(window, WM_NULL, 0, 0);
            }
            isIn = false;
        }
    }
};

struct Operation {
    const char* name;
    int (*run)(Media&);
    bool playsOn; ///< the loop goes on after it
};

const Operation kOperations[] = {
    {"Pause", [](Media& m) { return m.Pause(); }, false},
    {"Stop", [](Media& m) { return m.Stop(); }, false},
    {"UnlinkAllFilter", [](Media& m) { return m.UnlinkAllFilter(); }, false},
    {"Unload", [](Media& m) { return m.Unload(); }, false},
    {"SetAmain",
     [](Media& m) {
         m.SetAmain(1);
         return m.IsAmain() == 0 ? 1 : 0; // not while it plays
     },
     true},
    {"SetMediaPosition", [](Media& m) { return m.SetMediaPosition(kSecond); }, true},
};

class MediaEventThread : public MediaEvents {};

TEST_F(MediaEventThread, ARestartIsNeitherCutNorOvertaken) {
    media.SetLoop(1);
    for (const char* slow : {"control.Run", "control.Stop"}) {
        for (const Operation& operation : kOperations) {
            SCOPED_TRACE(std::string(operation.name) + " during " + slow);
            Listen();
            ASSERT_EQ(media.Play(), 1);
            const ComPtr<FakeGraph> graph(&Graph());
            const SlowCalls calls(slow, 300);
            graph->PushEvent(EC_COMPLETE);
            ASSERT_TRUE(SlowCalls::Entered());
            EXPECT_EQ(operation.run(media), 1);
            EXPECT_EQ(SlowCalls::overlaps, 0) << "a call while the other thread was in one";
            const std::size_t runs = journal.Count("control.Run");
            if (operation.playsOn) {
                EXPECT_TRUE(Delivered());
            } else {
                Sleep(50);
                EXPECT_EQ(journal.Count("control.Run"), runs);
                EXPECT_EQ(graph->control.state, media.m_playState);
            }
            EXPECT_EQ(media.Load(nullptr, 0), 1);
            EXPECT_EQ(media.Play(), 1);
            EXPECT_TRUE(Delivered()) << "it still plays and listens";
            EXPECT_EQ(media.Stop(), 1);
            EXPECT_EQ(graph->events.Unfreed(), 0);
        }
    }
}

TEST_F(MediaEventThread, OutlivesAPauseWithinALongCallback) {
    Listen();
    ASSERT_EQ(media.Play(), 1);
    host.delay = 400;
    Graph().PushEvent(EC_USERABORT);
    ASSERT_TRUE(Within(5000, [&] { return host.entered == 1; }));
    ASSERT_EQ(media.Pause(), 1);
    EXPECT_EQ(host.calls, 0) << "suspended within it";
    host.delay = 0;
    Graph().PushEvent(EC_USERABORT);
    ASSERT_EQ(media.Play(), 1);
    EXPECT_TRUE(Called(2));
    EXPECT_EQ(media.Stop(), 1);
    EXPECT_EQ(Graph().events.Unfreed(), 0);
}

TEST_F(MediaEventThread, RestsAfterAPauseByTheCallback) {
    media.SetLoop(1);
    Listen();
    ASSERT_EQ(media.Play(), 1);
    host.operation = [](ymdshow::CMedia& m) { return m.Pause(); };
    ASSERT_TRUE(Delivered());
    host.operation = nullptr;
    journal.Clear();
    Graph().PushEvent(EC_COMPLETE);
    Graph().PushEvent(EC_USERABORT);
    Sleep(250);
    EXPECT_EQ(host.calls, 1);
    EXPECT_EQ(journal.Count("control.*"), 0U) << "no loop of a paused item";
    ASSERT_EQ(media.Play(), 1);
    EXPECT_TRUE(Called(3));
    EXPECT_EQ(media.Stop(), 1);
}

TEST_F(MediaEventThread, MessagesAreAnsweredWhileAnOperationWaits) {
    media.m_playWindow = reinterpret_cast<HWND>(0x123456);
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 8, 8, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    const Operation operations[] = {
        {"GetMediaPosition", [](Media& m) { return m.GetMediaPosition() >= 0 ? 1 : 0; }, true},
        {"Pause", [](Media& m) { return m.Pause(); }, true},
        {"Stop", [](Media& m) { return m.Stop(); }, true},
        {"Unload", [](Media& m) { return m.Unload(); }, true},
    };
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        Listen();
        ASSERT_EQ(media.Play(), 1);
        const int calls = host.calls;
        {
            const SlowCalls slow("window.put_Visible(0)", 20, window);
            Graph().PushEvent(EC_COMPLETE);
            ASSERT_TRUE(SlowCalls::Entered());
            EXPECT_EQ(operation.run(media), 1);
            EXPECT_FALSE(SlowCalls::isIn) << "its message was not answered";
            EXPECT_EQ(SlowCalls::overlaps, 0);
        }
        media.Play();
        EXPECT_TRUE(Called(calls + 1)) << "the end came to the host";
        EXPECT_EQ(media.Stop(), 1);
    }
    // The same while another thread has the item's lock.
    ASSERT_EQ(media.Play(), 1);
    const SlowCalls slow("control.Pause", 50, window);
    std::thread other([&] { EXPECT_EQ(media.Pause(), 1); });
    ASSERT_TRUE(SlowCalls::Entered());
    EXPECT_EQ(media.GetVolume(), 0);
    EXPECT_FALSE(SlowCalls::isIn);
    other.join();
    EXPECT_EQ(media.Stop(), 1);
    DestroyWindow(window);
}

} // namespace
