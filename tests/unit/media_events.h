#pragma once

// A host that hears the events of a media item on fakes.

#include "media_play.h"

#include <atomic>
#include <utility>

namespace media_tests {

/// The host's side. The thread that calls it may be suspended or terminated: no locks here.
struct Host {
    std::atomic<int> calls{0};
    std::atomic<int> entered{0};
    std::atomic<DWORD> delay{0};
    std::atomic<long> lastCode{0};
    std::atomic<ymdshow::CMedia*> lastMedia{nullptr};
    std::atomic<int (*)(ymdshow::CMedia&)> operation{nullptr};
    std::atomic<int> result{-1};

    static int Event(ymdshow::CMedia* media, void* user, long code, std::int64_t param1,
                     std::int64_t param2) {
        Host& host = *static_cast<Host*>(user);
        Line line;
        const char* separator = "callback(";
        for (const std::int64_t number : {std::int64_t{code}, param1, param2}) {
            line.Text(std::exchange(separator, ", "));
            line.Number(number);
        }
        line.Text(")");
        Journal::Get().Append(line.View());
        ++host.entered;
        Sleep(host.delay);
        if (const auto operation = host.operation.load(); operation != nullptr) {
            host.result = operation(*media);
        }
        host.lastCode = code;
        host.lastMedia = media;
        ++host.calls;
        return 0x7fffffff; // nobody looks at it
    }
};

template <class Condition> bool Within(DWORD milliseconds, Condition&& condition) {
    for (const ULONGLONG start = GetTickCount64(); GetTickCount64() - start < milliseconds;) {
        if (condition()) {
            return true;
        }
        Sleep(2);
    }
    return condition();
}

class MediaEvents : public MediaTest {
protected:
    Host host;
    Media media{nullptr};

    void SetUp() override { Loaded(media); }
    void Listen() { media.SetEventCallBackFun(&Host::Event, &host); }
    bool Called(int calls) {
        return Within(5000, [&] { return host.calls >= calls; });
    }
    /// Pushes an event and waits for its callback.
    bool Delivered(long code = EC_USERABORT) {
        const int calls = host.calls;
        Graph().PushEvent(code);
        return Called(calls + 1);
    }
    bool Ended() { return WaitForSingleObject(media.m_hEventThread, 5000) == WAIT_OBJECT_0; }
};

} // namespace media_tests
