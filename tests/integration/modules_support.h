#pragma once

// Graphs of the project's filter modules on the system's graph manager.

#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>
#include <wrl/client.h>

#include <ymlib/Module.h>

#include <chrono>
#include <string>
#include <vector>

#include "filters/Clsids.h"
#include "filters/ITestRecorder.h"
#include "../src/BaseClasses/InterfaceIds.h"

namespace modules {

using Microsoft::WRL::ComPtr;
using Clock = std::chrono::steady_clock;

constexpr LONGLONG kMillisecond = 10'000;
constexpr LONGLONG kSecond = 10'000'000;

inline const GUID CLSID_SystemNullRenderer = {
    0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};

inline long Milliseconds(Clock::time_point since) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

inline ULONG ReferencesOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// What a test renderer has recorded of the kinds of interest.
std::vector<TestRecord> Records(IBaseFilter* renderer, LONG kind);

/// The kinds in order, runs of samples as one: "Paused Segment Samples EOS".
std::string Story(IBaseFilter* renderer);

/// Handles this thread's messages: a renderer's window belongs to the thread that loads.
inline void Pump() {
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
        DispatchMessageW(&message);
    }
}

template <class Condition> bool Within(long milliseconds, Condition&& condition) {
    for (const auto begin = Clock::now(); Milliseconds(begin) < milliseconds; Sleep(2)) {
        Pump();
        if (condition()) {
            return true;
        }
    }
    return condition();
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

class ModulesTest : public testing::Test {
protected:
    void SetUp() override;

    /// Every filter must be gone with the graph.
    void TearDown() override;

    /// A filter of a module in bin/filters, without a graph.
    ComPtr<IBaseFilter> Make(const wchar_t* module, const CLSID& clsid);

    /// The same in the graph.
    ComPtr<IBaseFilter> Add(const wchar_t* module, const CLSID& clsid);
    ComPtr<IBaseFilter> AddSource(const std::wstring& name);
    ComPtr<IBaseFilter> AddSystem(const CLSID& clsid);
    ComPtr<IBaseFilter> AddVideoRenderer();
    ComPtr<IBaseFilter> AddAudioRenderer();
    ComPtr<IBaseFilter> AddTransform();

    static ComPtr<IPin> FindPin(IBaseFilter* filter, const wchar_t* id);
    void Connect(IBaseFilter* up, const wchar_t* out, IBaseFilter* down, const wchar_t* in = L"In");

    void Run();
    void Pause();
    void Stop();
    void Seek(LONGLONG start, LONGLONG stop = -1);

    /// True when the event comes within the time; events before it are dropped.
    bool WaitForEvent(long wanted, long milliseconds);
    bool WaitForComplete(long milliseconds) { return WaitForEvent(EC_COMPLETE, milliseconds); }
    void SetFreeRunning();

    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
    ComPtr<IMediaSeeking> m_seeking;
    ComPtr<IMediaEventEx> m_events;

private:
    ymlib::CModuleManager m_modules;
    std::vector<ComPtr<IBaseFilter>> m_filters;
};

} // namespace modules
