#pragma once

// What tests on the system's graph manager share.

#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include "../src/BaseClasses/InterfaceIds.h"
#include "filters/Clsids.h"
#include "filters/ITestRecorder.h"

namespace modules {

using Microsoft::WRL::ComPtr;

constexpr LONGLONG kMillisecond = 10'000;
constexpr LONGLONG kSecond = 10'000'000;

/// What a test renderer has recorded of the kinds of interest.
std::vector<TestRecord> Records(IBaseFilter* renderer, LONG kind);

/// Waits while it handles this thread's messages: a renderer's window belongs to the thread
/// that loads.
template <class Condition> bool Within(ULONGLONG milliseconds, Condition&& condition) {
    for (const ULONGLONG end = GetTickCount64() + milliseconds;; Sleep(2)) {
        for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
            DispatchMessageW(&message); // first: what a look draws comes behind them
        }
        if (const bool is = condition(); is || GetTickCount64() >= end) {
            return is;
        }
    }
}

/// A file of the sample directory, in code page 936.
std::string Sample(const std::string& name);

/// Handles that the system's graph manager keeps for good each time that it is made: Wine's
/// keeps one, which is not the media item's fault.
unsigned HandlesKeptByGraphs(int count);

/// Wine's system clock waits for its own thread for ever when it is released for the last
/// time just as that wakes. After this the thread of a graph that has stopped sleeps again.
inline void LetClockRest() {
    Sleep(20);
}

} // namespace modules
