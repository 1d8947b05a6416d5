#pragma once

// What a process holds, for tests that nothing is left behind.

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace media_tests {

struct Resources {
    unsigned handles = 0;

    /// Wine always answers 0 to GetProcessHandleCount; its list of all handles tells.
    static Resources Now() {
        std::vector<std::max_align_t> buffer(1U << 16);
        const auto bytes = static_cast<ULONG>(buffer.size() * sizeof buffer[0]);
        if (NtQuerySystemInformation(SystemHandleInformation, buffer.data(), bytes, nullptr) < 0) {
            return {};
        }
        const auto& all = *reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(buffer.data());
        return {static_cast<unsigned>(
            std::count_if(all.Handle, all.Handle + all.Count, [](const auto& handle) {
                return handle.OwnerPid == GetCurrentProcessId();
            }))};
    }
};

} // namespace media_tests
