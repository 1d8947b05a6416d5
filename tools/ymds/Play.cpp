#include "Play.h"

#include <memory>

#include <ymlib/Log.h>

#include "Console.h"
#include "MediaPath.h"
#include "Playback.h"
#include "Report.h"
#include "Schemes.h"
#include "Text.h"
#include "Watchdog.h"
#include "Window.h"

namespace ymds {

namespace {

constexpr unsigned kLoadPatience = 90;
constexpr unsigned kTurnPatience = 40;
constexpr unsigned kTeardownPatience = 15;

void ShowRecord(const ymlib::LogRecord& record) {
    const wchar_t* level = record.level >= ymlib::LOG_ERROR     ? L"error"
                           : record.level >= ymlib::LOG_WARNING ? L"warning"
                                                                : L"note";
    Err().Write(std::wstring(level) + L": " + record.text + L"  [" +
                ymdshow::Utf8ToWide(record.function) + L"]\n");
}

class PlayRun {
public:
    explicit PlayRun(const PlayOptions& options);
    int Run();

private:
    bool Prepare();
    bool LoadScheme();
    bool Load();
    void Describe();
    bool Fail(const std::wstring& reason, HRESULT result = S_OK);
    void PrintReport() const;

    const PlayOptions& m_options;
    PlayReport m_report;
    Watchdog m_watchdog;
    std::unique_ptr<PlayWindow> m_window; // outlives the graph that draws into it
    ymdshow::CMediaPlayer m_player;
    ymdshow::CMedia* m_media = nullptr; // the player's
};

/// For a main thread that hangs in a filter: tells what can be told and ends the process.
void GiveUp(PlayReport report, bool json) {
    report.end = L"error";
    report.error = L"a filter does not answer";
    if (json) {
        Out().Write(ReportJson(report));
    }
    Complain(L"cannot play " + report.path + L": " + report.error);
    TerminateProcess(GetCurrentProcess(), kExitFailed);
}

PlayRun::PlayRun(const PlayOptions& options) : m_options(options) {
    m_report.path = options.file;
    m_report.snapshotNote = L"nothing was played";
}

int PlayRun::Run() {
    const auto expect = [this](unsigned seconds) {
        m_watchdog.Expect(seconds,
                          [report = m_report, json = m_options.json] { GiveUp(report, json); });
    };
    expect(kLoadPatience);
    if (Prepare() && LoadScheme() && Load()) {
        Describe();
        expect(kTurnPatience);
        Playback(m_options, *m_media, *m_window, m_watchdog, m_report).Run();
    }
    PrintReport();
    const int code = m_report.error.empty() ? kExitPlayed : kExitFailed;
    m_watchdog.Expect(kTeardownPatience, [code] {
        Complain(L"warning: a filter does not let go of the graph");
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    });
    if (m_media != nullptr && m_media->Stop() == 1) {
        // Wine's clock waits for its own thread for ever when it is released as that wakes.
        WaitAndPump(20);
    }
    m_player.RemoveAllMedias();
    return code;
}

bool PlayRun::Prepare() {
    auto* logger = ymlib::CLoger::GetLoger();
    if (m_options.verbose) {
        logger->AddSink(ShowRecord);
    }
    if (!m_options.log.empty() && logger->AddFileSink(m_options.log) == 0) {
        return Fail(L"the log file " + m_options.log + L" cannot be written");
    }
    return true;
}

bool PlayRun::LoadScheme() {
    const std::wstring error = UseScheme(m_player.GetCoderScheme(), m_options.scheme);
    return error.empty() || Fail(error);
}

bool PlayRun::Load() {
    std::wstring trouble;
    const std::wstring path = MediaPath(m_options.file, trouble);
    if (!trouble.empty()) {
        return Fail(trouble);
    }
    m_media = m_player.AddMedia(path, 0);
    if (m_media == nullptr) {
        return Fail(L"the library cannot find it");
    }
    m_window = std::make_unique<PlayWindow>(m_options.window, Stem(m_options.file));
    m_media->SetPlayWindow(m_window->Stage());
    const bool known =
        m_media->GetOriginalVideoTrackNum() + m_media->GetOriginalAudioTrackNum() > 0;
    const bool loaded = m_player.LoadMedia(m_media);
    m_report.load = m_media->GetLoadReport();
    if (!loaded) {
        const std::wstring head = known ? L"no filter graph could be built"
                                        : L"nothing can read it, no filter graph could be built";
        return Fail(head + (m_report.load.failure.empty() ? L"" : L": " + m_report.load.failure),
                    m_report.load.failureResult);
    }
    m_report.loaded = true;
    return true;
}

void PlayRun::Describe() {
    m_report.duration = m_media->GetOriginalDuration();
    m_report.videoTracks = m_media->GetVideoTrackNum();
    m_report.audioTracks = m_media->GetAudioTrackNum();
    m_report.filters = m_media->GetFilters();
    double aspectRatio = 0;
    if (m_report.videoTracks > 0) {
        m_report.width = m_media->GetVideoOriginalWidth();
        m_report.height = m_media->GetVideoOriginalHeight();
        if (m_media->IsEnableDisplayAspectRatio() && m_media->GetDisplayAspectRatio() > 0) {
            aspectRatio = static_cast<double>(m_media->GetDisplayAspectRatio());
        } else if (m_report.height > 0) {
            aspectRatio =
                static_cast<double>(m_report.width) / static_cast<double>(m_report.height);
        }
    }
    // What the graph shows may be the file's picture on its side.
    long width = m_report.width;
    long height = m_report.height;
    m_media->GetVideoDisplayRange(nullptr, nullptr, &width, &height);
    const bool isTurned = width == m_report.height && height == m_report.width;
    m_window->Shape(isTurned ? width : m_report.width, isTurned ? height : m_report.height,
                    isTurned ? 1 / aspectRatio : aspectRatio);
}

bool PlayRun::Fail(const std::wstring& reason, HRESULT result) {
    m_report.error = Reason(reason, result);
    m_report.errorResult = result;
    return false;
}

void PlayRun::PrintReport() const {
    if (m_options.json) {
        Out().Write(ReportJson(m_report));
    } else if (m_report.loaded) {
        Out().Write(ReportText(m_report));
    }
    if (!m_report.error.empty()) {
        Complain(L"cannot play " + m_report.path + L": " + m_report.error);
        if (!m_report.loaded) {
            Err().Write(m_report.load.Explain() + L"\n" + m_report.load.Steps());
        }
    }
}

} // namespace

int Play(const PlayOptions& options) {
    WatchInterrupt();
    return PlayRun(options).Run();
}

} // namespace ymds
