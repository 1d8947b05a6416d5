// The media module beside what else there is, each figure a ratio of the same run: files through
// CMedia and schemes/media.json, turn by turn with the system's own filters; whole files without a
// clock beside `ffmpeg -f null`. The renderers of everything but the load are the recording ones,
// and what is seeked has a single stream: the system's splitter does not survive it otherwise.

#include <windows.h>

#include <psapi.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include "../tests/filters/ITestRecorder.h"
#include "ffmpeg_time.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microsoft::WRL::ComPtr;
using ymdshow::CMedia;

constexpr LONGLONG kSecond = 10'000'000;
constexpr DWORD kPatience = 30'000;

constexpr const char* kRenderers = R"({"Filter": [
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false, "IsOnlyOne": true},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false, "IsOnlyOne": true}],
 "Schemes": [{"Type": "video_global", "Filters": [{"Name": "Picture"}]},
             {"Type": "audio_global", "Filters": [{"Name": "Sound"}]}]})";

double Since(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string Sample(const std::string& name) {
    const char* const directory = std::getenv("YMD_MEDIA_DIR");
    return (directory != nullptr ? directory : ".") + ("\\" + name);
}

std::wstring Script(const wchar_t* name) {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return (std::filesystem::path(program).parent_path() / "schemes" / name).wstring();
}

enum class Way { Modules, System };

/// An item with the recording renderers.
class Item {
public:
    explicit Item(Way way) {
        m_isReady = (way == Way::System || m_scheme.LoadScheme(Script(L"media.json"), 0)) &&
                    m_scheme.LoadSchemeByScript(kRenderers, 0);
        m_media.SetEventCallBackFun(
            [](CMedia*, void* user, long code, std::int64_t, std::int64_t) {
                static_cast<Item*>(user)->m_ends += code == EC_COMPLETE;
                return 0;
            },
            this);
    }
    bool Load(const std::string& path) {
        return m_isReady && m_media.SetMediaPath(path) == 1 && m_media.Load(&m_scheme, 1) == 1;
    }
    CMedia* operator->() { return &m_media; }

    static ComPtr<ITestRecorder> Recorder(IBaseFilter* renderer) {
        ComPtr<ITestRecorder> recorder;
        if (renderer != nullptr) {
            renderer->QueryInterface(IID_PPV_ARGS(&recorder));
        }
        return recorder;
    }
    ComPtr<ITestRecorder> Picture() { return Recorder(m_media.GetVideoTrackRender(0)); }
    ComPtr<ITestRecorder> Sound() { return Recorder(m_media.GetAudioTrackRender(0)); }
    bool Played() {
        for (const auto begin = Clock::now(); m_ends == 0 && Since(begin) < kPatience;) {
            Sleep(1);
        }
        return m_ends > 0;
    }

private:
    ymdshow::CCoderScheme m_scheme;
    std::atomic<int> m_ends{0};
    CMedia m_media{nullptr};
    bool m_isReady = false;
};

std::vector<TestRecord> RecordsOf(ITestRecorder& recorder) {
    ULONG count = 0;
    recorder.GetCount(&count);
    std::vector<TestRecord> records(count);
    recorder.GetRecords(0, count, records.data(), nullptr);
    return records;
}

void Print(const char* what, const std::string& name, double ours, double theirs) {
    std::printf("%-34s %-16s %9.2f %9.2f %8.2f\n", what, name.c_str(), ours, theirs,
                theirs > 0 ? ours / theirs : 0);
    std::fflush(stdout);
}

/// Until the graph is rendered. The scripts are loaded and the modules are in memory, as they are
/// for a player's second file.
void Loads(const std::string& name) {
    std::vector<double> ours;
    std::vector<double> theirs;
    const std::string path = Sample(name);
    ymdshow::CMediaPlayer player;
    player.GetCoderScheme().LoadScheme(Script(L"media.json"), 0);
    player.GetCoderScheme().LoadScheme(Script(L"renderers.json"), 0);
    for (int round = 0; round <= 7; ++round) {
        const auto begin = Clock::now();
        const bool isLoaded = player.AddMedia(path, 1) != nullptr;
        const double mine = Since(begin);
        player.RemoveAllMedias();
        const auto bare = Clock::now();
        ComPtr<IGraphBuilder> graph;
        const bool isRendered =
            SUCCEEDED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_PPV_ARGS(&graph))) &&
            SUCCEEDED(graph->RenderFile(std::wstring(path.begin(), path.end()).c_str(), nullptr));
        const double other = Since(bare);
        if (round > 0 && isLoaded) { // the first graph of a process pays for more than the file
            ours.push_back(mine);
        }
        if (round > 0 && isRendered) {
            theirs.push_back(other);
        }
    }
    Print("load, RenderFile", name, Median(ours), Median(theirs));
}

std::size_t MemoryNow() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.WorkingSetSize;
}

struct Figures {
    std::vector<double> first, seek, stop, memory;
};

void Measure(Way way, const std::string& path, Figures& figures) {
    const std::size_t before = MemoryNow();
    Item item(way);
    if (!item.Load(path)) {
        return;
    }
    const ComPtr<ITestRecorder> picture = item.Picture();
    if (picture == nullptr) {
        return;
    }
    auto begin = Clock::now();
    item->Play();
    if (picture->WaitFor(TestRecord::Sample, 1, kPatience) != S_OK) {
        return;
    }
    figures.first.push_back(Since(begin));
    Sleep(500);
    figures.memory.push_back(static_cast<double>(MemoryNow() - before) / (1 << 20));
    item->Pause();
    std::mt19937 random(1);
    for (int i = 0; i < 20; ++i) {
        const LONGLONG place = static_cast<LONGLONG>(random() % 95) * kSecond / 10 + 1;
        picture->Clear();
        begin = Clock::now();
        item->SetMediaPosition(place);
        bool isThere = false;
        for (ULONG samples = 1;
             !isThere && picture->WaitFor(TestRecord::Sample, samples, kPatience) == S_OK;
             ++samples) {
            isThere = RecordsOf(*picture.Get()).back().segmentStart == place;
        }
        if (isThere) {
            figures.seek.push_back(Since(begin));
        }
    }
    for (int i = 0; i < 10; ++i) {
        item->Play();
        Sleep(50 + static_cast<DWORD>(i) * 7 % 50);
        begin = Clock::now();
        item->Stop();
        figures.stop.push_back(Since(begin));
    }
}

void Plays(const std::string& name) {
    Figures figures[2];
    for (int round = 0; round < 3; ++round) {
        Measure(Way::Modules, Sample(name), figures[0]);
        Measure(Way::System, Sample(name), figures[1]);
    }
    const auto print = [&](const char* what, std::vector<double> Figures::*values) {
        Print(what, name, Median(figures[0].*values), Median(figures[1].*values));
    };
    print("play to the first picture", &Figures::first);
    print("seek to the first picture, paused", &Figures::seek);
    print("stop", &Figures::stop);
    print("memory while playing, MiB", &Figures::memory);
}

/// From the call to the first sample of the other track; beside the call alone.
void Switches(const std::string& name) {
    Item item(Way::Modules);
    std::vector<double> heard;
    std::vector<double> called;
    if (item.Load(Sample(name)) && item.Sound() != nullptr && item->Play() == 1) {
        const ComPtr<ITestRecorder> sound = item.Sound();
        sound->WaitFor(TestRecord::Sample, 3, kPatience);
        for (std::uint32_t i = 1; i <= 12; ++i) {
            Sleep(200);
            sound->Clear();
            const auto begin = Clock::now();
            item->EnableOnlyOneAudioTrack(i % 3);
            called.push_back(Since(begin));
            const auto isOther = [=](const TestRecord& record) {
                return std::abs(record.frequency - 440.0 * (i % 3 + 1)) < 20;
            };
            while (Since(begin) < kPatience) {
                const auto records = RecordsOf(*sound.Get());
                if (std::any_of(records.begin(), records.end(), isOther)) {
                    heard.push_back(Since(begin));
                    break;
                }
                Sleep(1);
            }
        }
    }
    Print("switch of tracks, the call alone", name, Median(heard), Median(called));
}

void FreeRunning(const std::string& name) {
    double ours = 1e9;
    double theirs = 1e9;
    for (int i = 0; i < 8; ++i) { // the machine has other things to do
        Item item(Way::Modules);
        item->SetAmain(1);
        if (!item.Load(Sample(name))) {
            break;
        }
        const auto begin = Clock::now();
        item->Play();
        if (item.Played()) {
            ours = std::min(ours, Since(begin));
        }
        if (const double time = bench::FfmpegTime(Sample(name)); time > 0) {
            theirs = std::min(theirs, time);
        }
    }
    Print("free-running, ffmpeg -f null", name, ours, theirs);
}

} // namespace

int main() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::printf("%-34s %-16s %9s %9s %8s\n", "milliseconds, beside", "file", "modules", "beside",
                "ratio");
    for (const char* const name :
         {"clip.mp4", "clip.mkv", "clip.avi", "clip.mpg", "clip.mp3", "clip.wav"}) {
        Loads(name);
    }
    for (const char* const name : {"bench\\short.mp4", "bench\\long.mp4"}) {
        Plays(name);
    }
    Switches("matrix\\tracks.mkv");
    FreeRunning("bench\\1080p.mp4");
    CoUninitialize();
    return 0;
}
