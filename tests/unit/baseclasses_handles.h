#pragma once

#include <windows.h>

#include <memory>

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

} // namespace ymdshow::tests
