#pragma once

// What a process holds, for tests that nothing is left behind.

#include <windows.h>

#include <psapi.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace media_tests {

struct Resources {
    unsigned handles = 0;
    std::size_t kilobytes = 0;

    /// Wine always answers 0 to GetProcessHandleCount; its list of all handles tells.
    static unsigned Handles() {
        std::vector<std::max_align_t> buffer(1U << 16);
        const auto bytes = static_cast<ULONG>(buffer.size() * sizeof buffer[0]);
        if (NtQuerySystemInformation(SystemHandleInformation, buffer.data(), bytes, nullptr) < 0) {
            return 0;
        }
        const auto& all = *reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(buffer.data());
        return static_cast<unsigned>(
            std::count_if(all.Handle, all.Handle + all.Count, [](const auto& handle) {
                return handle.OwnerPid == GetCurrentProcessId();
            }));
    }
    static Resources Now() {
        PROCESS_MEMORY_COUNTERS_EX memory{};
        GetProcessMemoryInfo(GetCurrentProcess(),
                             reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
        return {Handles(),
                (memory.PrivateUsage != 0 ? memory.PrivateUsage : memory.WorkingSetSize) / 1024};
    }
};

/// The number of rounds of a soak: that of an environment variable, or `usual`.
inline int Rounds(const char* variable, int usual) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : usual;
}

/// Runs `cycle`; what the process holds after ten rounds and at the end.
template <class Cycle> std::pair<Resources, Resources> Soak(int rounds, Cycle&& cycle) {
    Resources early;
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        cycle(i);
        if (i == std::min(10, rounds) - 1) {
            early = Resources::Now();
        }
    }
    return {early, Resources::Now()};
}

} // namespace media_tests
