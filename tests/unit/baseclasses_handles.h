#pragma once

#include <windows.h>

#include <memory>
#include <thread>
#include <vector>

namespace ymdshow::tests {

struct HandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<HANDLE, HandleCloser>;

inline Handle MakeEvent() {
    return Handle(CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

inline Handle MakeSemaphore(LONG maximum = 1'000'000'000) {
    return Handle(CreateSemaphoreW(nullptr, 0, maximum, nullptr));
}

/// Takes one signal, waiting for it if asked to.
inline bool Take(const Handle& handle, DWORD timeout = 0) {
    return WaitForSingleObject(handle.get(), timeout) == WAIT_OBJECT_0;
}

/// Runs `work(0)`, `work(1)` and so on at the same time, to the end.
template <class Work> void InThreads(unsigned count, Work work) {
    std::vector<std::jthread> threads;
    for (unsigned index = 0; index < count; ++index) {
        threads.emplace_back(work, index);
    }
}

} // namespace ymdshow::tests
