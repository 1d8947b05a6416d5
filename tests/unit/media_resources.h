#pragma once

// What a process holds, for tests that nothing is left behind.

#include <windows.h>

#include <psapi.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace media_tests {

struct Resources {
    unsigned handles = 0;
    std::size_t kilobytes = 0;

    static Resources Now() {
        Resources now;
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        now.handles = count != 0 ? count : CountedHandles();
        PROCESS_MEMORY_COUNTERS_EX memory{};
        GetProcessMemoryInfo(GetCurrentProcess(),
                             reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
        const std::size_t bytes =
            memory.PrivateUsage != 0 ? memory.PrivateUsage : memory.WorkingSetSize;
        now.kilobytes = bytes / 1024;
        return now;
    }
    std::string Text() const {
        return std::to_string(handles) + " handles, " + std::to_string(kilobytes) + " KiB";
    }

private:
    /// Wine always answers 0 to GetProcessHandleCount; its list of all handles tells.
    static unsigned CountedHandles() {
        struct Entry {
            ULONG process;
            BYTE type, flags;
            USHORT handle;
            void* object;
            ULONG access;
        };
        constexpr auto kSystemHandles = static_cast<SYSTEM_INFORMATION_CLASS>(16);
        std::vector<std::max_align_t> buffer(1U << 16);
        const auto bytes = static_cast<ULONG>(buffer.size() * sizeof buffer[0]);
        if (NtQuerySystemInformation(kSystemHandles, buffer.data(), bytes, nullptr) < 0) {
            return 0;
        }
        const ULONG count = *reinterpret_cast<const ULONG*>(buffer.data());
        const auto* const entries =
            reinterpret_cast<const Entry*>(reinterpret_cast<const char*>(buffer.data()) + 8);
        return static_cast<unsigned>(
            std::count_if(entries, entries + count, [](const Entry& entry) {
                return entry.process == GetCurrentProcessId();
            }));
    }
};

/// The number of rounds of a soak: that of an environment variable, or `usual`.
inline int Rounds(const char* variable, int usual) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : usual;
}

/// Runs `cycle` and tells what the process holds after ten rounds and at the end.
template <class Cycle> std::pair<Resources, Resources> Soak(int rounds, Cycle&& cycle) {
    Resources early;
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        cycle(i);
        if (i == std::min(10, rounds) - 1) {
            early = Resources::Now();
        }
    }
    const Resources late = Resources::Now();
    std::printf("after 10 rounds %s; after %d: %s\n", early.Text().c_str(), rounds,
                late.Text().c_str());
    return {early, late};
}

} // namespace media_tests
