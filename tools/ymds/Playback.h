#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include "CommandLine.h"
#include "Console.h"
#include "Player.h"
#include "Progress.h"
#include "Report.h"
#include "Watchdog.h"
#include "Window.h"

namespace ymds {

/// Plays a loaded media item to its end on the main thread, which serves the windows, the
/// keys and the progress bar, and writes what happened into the report.
class Playback {
public:
    Playback(const PlayOptions& options, ymdshow::CMedia& media, PlayWindow& window,
             Watchdog& watchdog, PlayReport& report);

    void Run();

private:
    void Turn();
    void HandleKeys();
    void HandleEvents();
    void HandleEvent(const ymdshow::Event& event);
    void FitPicture();
    void Account(std::int64_t position);
    void WatchForStall(std::int64_t position);
    void SaveSnapshot(const std::wstring& path);
    void SaveReportSnapshot();
    std::int64_t SnapshotTime() const;
    void End(const wchar_t* reason);
    void Fail(const std::wstring& error, HRESULT result);

    const PlayOptions& m_options;
    ymdshow::CMedia& m_media;
    PlayWindow& m_window;
    Watchdog& m_watchdog;
    PlayReport& m_report;
    Player m_player;
    Keyboard m_keyboard;
    ymdshow::EventQueue m_events;
    Progress m_progress;
    bool m_hasEnded = false;
    bool m_isSnapshotDone = false;
    std::int64_t m_lastPosition = 0;
    std::int64_t m_furthest = 0;
    unsigned long long m_lastTurn = 0;
    unsigned long long m_lastAdvance = 0;
    unsigned long long m_running = 0; ///< milliseconds of playing, without pauses
};

} // namespace ymds
