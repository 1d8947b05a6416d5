#include "Playback.h"

#include <algorithm>

#include "MediaPath.h"
#include "Text.h"

namespace ymds {

namespace {

constexpr DWORD kTurnTime = 20;
constexpr unsigned long long kStallLimit = 30000;
constexpr std::int64_t kMillisecond = 10000;
constexpr std::int64_t kSlack = 500 * kMillisecond;
constexpr std::int64_t kUnknownDurationSnapshot = 2000 * kMillisecond;

std::wstring PictureName(const std::wstring& file, const std::wstring& suffix) {
    std::wstring stem = Stem(file);
    std::replace_if(
        stem.begin(), stem.end(),
        [](wchar_t c) { return std::wstring_view(L"<>:\"|?*").find(c) != std::wstring_view::npos; },
        L'_');
    return stem + L"-snapshot" + suffix + L".png";
}

/// A splitter of Wine's that feeds several streams blocks for good after a seek in a graph
/// that is not stopped.
bool HasWineSource(const PlayReport& report) {
    return RunsUnderWine() && (report.filters.empty() || !report.filters.front().isFromModule);
}

} // namespace

Playback::Playback(const PlayOptions& options, ymdshow::CMedia& media, PlayWindow& window,
                   Watchdog& watchdog, PlayReport& report)
    : m_options(options), m_media(media), m_window(window), m_watchdog(watchdog), m_report(report),
      m_player(media, HasWineSource(report)),
      m_progress(!options.noProgress && !options.json && !options.verbose) {}

void Playback::Run() {
    m_media.SetEventCallBackFun(ymdshow::EventQueue::OnEvent, &m_events);
    m_media.SetLoop(m_options.loop ? 1 : 0);
    FitPicture();
    if (m_media.Play() != 1) {
        Fail(L"the graph did not run", E_FAIL);
        return;
    }
    m_lastTurn = m_lastAdvance = GetTickCount64();
    while (!m_hasEnded) {
        Turn();
        WaitAndPump(kTurnTime);
    }
    m_progress.Clear();
    if (m_report.error.empty()) {
        m_media.Pause(); // the picture is not to run on
        SaveReportSnapshot();
    }
    m_watchdog.Beat();
    m_media.SetEventCallBackFun(nullptr, nullptr);
}

void Playback::Turn() {
    m_watchdog.Beat();
    if (Interrupted()) {
        End(L"interrupted");
    }
    if (m_window.IsClosed()) {
        End(L"closed");
    }
    HandleEvents(); // first: an end that came before a seek is not the seek's
    HandleKeys();
    FitPicture();
    if (m_hasEnded) {
        return;
    }
    const std::int64_t position = m_player.Position();
    Account(position);
    if (m_report.played >= SnapshotTime()) {
        SaveReportSnapshot();
    }
    if (m_options.seconds > 0 && static_cast<double>(m_running) >= m_options.seconds * 1000) {
        End(L"seconds");
    }
    WatchForStall(position);
    m_progress.Show(position, m_report.duration, m_player.State());
}

void Playback::HandleKeys() {
    std::vector<Action> actions;
    m_keyboard.Read(actions);
    m_window.TakeActions(actions);
    for (const Action action : actions) {
        if (action == Action::Quit) {
            End(L"quit");
        } else if (action == Action::Snapshot) {
            const std::wstring at = std::to_wstring(Milliseconds(m_player.Position()));
            SaveSnapshot(PictureName(m_options.file, L"-" + at));
        } else {
            const std::wstring note = m_player.Do(action);
            if (!note.empty()) {
                m_progress.Note(note);
            }
            m_lastPosition = m_furthest = m_player.Position();
        }
    }
}

void Playback::HandleEvents() {
    ymdshow::Event event;
    while (m_events.Take(event)) {
        ++m_report.events[event.code];
        HandleEvent(event);
    }
}

void Playback::HandleEvent(const ymdshow::Event& event) {
    switch (event.code) {
    case EC_COMPLETE:
        if (m_media.IsLoop() == 0) {
            // The last turn was a little before the end.
            Account(m_media.GetClipEndTime());
            End(L"complete");
        }
        break;
    case EC_ERRORABORT:
        Fail(L"playing failed", static_cast<HRESULT>(event.param1));
        break;
    case EC_USERABORT:
        End(L"closed");
        break;
    default:
        break;
    }
}

void Playback::FitPicture() {
    if (m_window.TakeResized()) {
        m_media.SetPlayWindow(m_window.Stage());
        const SIZE size = m_window.StageSize();
        m_media.SetVideoDisplayRange(0, 0, size.cx, size.cy);
    }
}

/// Adds to the played time what the position gained, unless it jumped.
void Playback::Account(std::int64_t position) {
    const unsigned long long now = GetTickCount64();
    const unsigned long long elapsed = now - m_lastTurn;
    const std::int64_t gain = position - m_lastPosition;
    m_lastTurn = now;
    m_lastPosition = position;
    if (m_player.IsPaused()) {
        return;
    }
    m_running += elapsed;
    // A little backwards is the position after a pause being set right, unless it looped.
    const std::int64_t least = m_media.IsLoop() != 0 ? 0 : -kSlack;
    if (gain >= least && gain <= static_cast<std::int64_t>(elapsed) * kMillisecond + kSlack) {
        m_report.played += gain;
    }
}

void Playback::WatchForStall(std::int64_t position) {
    const unsigned long long now = GetTickCount64();
    const std::int64_t end = m_report.duration > 0 ? m_report.duration : INT64_MAX;
    if (m_player.IsPaused() || position < m_furthest || std::min(position, end) > m_furthest) {
        m_furthest = std::min(position, end);
        m_lastAdvance = now;
    } else if (now - m_lastAdvance > kStallLimit) {
        Fail(L"no progress for 30 seconds at " + Clock(position), E_ABORT);
    }
}

std::int64_t Playback::SnapshotTime() const {
    std::int64_t whole = m_report.duration;
    if (m_options.seconds > 0) {
        const auto limit = static_cast<std::int64_t>(m_options.seconds * 1e7);
        whole = whole > 0 ? std::min(whole, limit) : limit;
    }
    return whole > 0 ? whole / 2 : kUnknownDurationSnapshot;
}

void Playback::SaveSnapshot(const std::wstring& path) {
    std::wstring trouble;
    m_media.SaveSnapshot(FullPath(path), &trouble);
    m_progress.Note(trouble.empty() ? L"saved " + path : trouble);
}

void Playback::SaveReportSnapshot() {
    if (m_isSnapshotDone) {
        return;
    }
    m_isSnapshotDone = true;
    if (m_options.noSnapshot) {
        m_report.snapshotNote = L"not wanted";
        return;
    }
    if (m_media.GetVideoTrackNum() == 0) {
        m_report.snapshotNote = m_media.GetOriginalVideoTrackNum() > 0
                                    ? L"no renderer took the picture"
                                    : L"the file has no picture";
        return;
    }
    const std::wstring path =
        m_options.snapshot.empty() ? PictureName(m_options.file, L"") : m_options.snapshot;
    if (m_media.SaveSnapshot(FullPath(path), &m_report.snapshotNote)) {
        m_report.snapshot = path;
    }
}

void Playback::End(const wchar_t* reason) {
    if (!m_hasEnded) {
        m_hasEnded = true;
        m_report.end = reason;
    }
}

void Playback::Fail(const std::wstring& error, HRESULT result) {
    if (!m_hasEnded) {
        End(L"error");
        m_report.error = Reason(error, result);
        m_report.errorResult = result;
    }
}

} // namespace ymds
