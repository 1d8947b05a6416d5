// What a person who plays feels: the time from a seek to its first picture, the gap of a
// loop, the time that a stop takes; and how fast a file runs without a clock, beside
// `ffmpeg -f null` on the same file; and what a host's questions cost beside the graph's own,
// with a limit of the ratio. Plays the test source, and YMD_MEDIA_DIR/sample.mp4 or the file that
// is named.

#include <windows.h>

#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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
constexpr double kRatioLimit = 1.5; // of a question to the graph's own

constexpr const char* kScheme = R"({"Filter": [
  {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}", "Type": "source",
   "Path": "filters\\ymdpattern.ax", "IsCache": false},
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false}],
 "Schemes": [{"Type": "test", "Filters": [{"Name": "Source"}, {"Name": "Picture"},
                                          {"Name": "Sound"}]},
             {"Type": "unknown", "Filters": [{"Name": "Picture"}, {"Name": "Sound"}]}]})";

double Since(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void Print(const char* what, std::vector<double> milliseconds) {
    if (milliseconds.empty()) {
        std::printf("%-44s failed\n", what);
        return;
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    const std::size_t count = milliseconds.size();
    std::printf("%-44s %9.2f %9.2f %9.2f %5zu\n", what, milliseconds.front(),
                milliseconds[count / 2], milliseconds[count - 1 - count / 20], count);
}

/// A loaded item, the records of its pictures, and the ends that it has come to.
class Item {
public:
    bool Load(const std::string& path) {
        m_media.SetEventCallBackFun(
            [](CMedia*, void* user, long code, std::int64_t, std::int64_t) {
                static_cast<Item*>(user)->m_ends += code == EC_COMPLETE;
                return 0;
            },
            this);
        return m_scheme.LoadSchemeByScript(kScheme, 1) && m_media.SetMediaPath(path) == 1 &&
               m_media.Load(&m_scheme, 1) == 1 && m_media.GetVideoTrackNum() > 0 &&
               SUCCEEDED(m_media.GetVideoTrackRender(0)->QueryInterface(IID_PPV_ARGS(&m_recorder)));
    }
    ~Item() { m_recorder.Reset(); }

    CMedia* operator->() { return &m_media; }
    ITestRecorder& Recorder() { return *m_recorder.Get(); }
    IGraphBuilder* Graph() { return m_media.Graph(); }
    bool Played(int ends) {
        const auto begin = Clock::now();
        while (m_ends < ends && Since(begin) < kPatience) {
            Sleep(1);
        }
        return m_ends >= ends;
    }
    std::vector<TestRecord> Records() {
        ULONG count = 0;
        m_recorder->GetCount(&count);
        std::vector<TestRecord> records(count);
        m_recorder->GetRecords(0, count, records.data(), nullptr);
        return records;
    }

private:
    struct OpenMedia : CMedia {
        using CMedia::CMedia;
        IGraphBuilder* Graph() { return m_pGB; }
    };

    ymdshow::CCoderScheme m_scheme;
    std::atomic<int> m_ends{0};
    OpenMedia m_media{nullptr};
    ComPtr<ITestRecorder> m_recorder;
};

void Seeks(const char* what, bool isRunning) {
    Item item;
    std::vector<double> times;
    std::mt19937 random(1);
    if (item.Load("test://640x360@25/60s?audio=440") && item->Play() == 1 &&
        (isRunning || item->Pause() == 1)) {
        item.Recorder().WaitFor(TestRecord::Sample, 1, kPatience);
        for (int i = 0; i < 60; ++i) {
            const LONGLONG place = static_cast<LONGLONG>(random() % 50) * kSecond + 1;
            item.Recorder().Clear();
            const auto begin = Clock::now();
            item->SetMediaPosition(place);
            // A picture of before the flush may still be recorded.
            for (ULONG samples = 1;
                 item.Recorder().WaitFor(TestRecord::Sample, samples, kPatience) == S_OK;
                 ++samples) {
                if (item.Records().back().segmentStart == place) {
                    times.push_back(Since(begin));
                    break;
                }
            }
        }
    }
    Print(what, times);
}

void Loops() {
    Item item;
    std::vector<double> first;
    std::vector<double> moving;
    if (item.Load("test://640x360@25/10s?audio=440") && item->TimeClip(kSecond, kSecond * 6 / 5)) {
        item->SetLoop(1);
        item->Play();
        item.Played(40);
        item->Stop();
        // From the end of the last picture's time. The first picture waits for the graph to
        // start its clock.
        LONGLONG end = 0;
        int loops = 0;
        int pictures = 0;
        for (const TestRecord& record : item.Records()) {
            if (record.kind == TestRecord::NewSegment) {
                pictures = 0;
            } else if (record.kind == TestRecord::Sample) {
                loops += ++pictures == 1;
                if (loops > 1 && pictures <= 2) {
                    (pictures == 1 ? first : moving)
                        .push_back(static_cast<double>(record.wall - end) / 1e4);
                }
                const bool isHeld = loops > 1 && pictures == 1;
                end = (isHeld ? end : record.wall) + record.stop - record.start;
            }
        }
    }
    Print("gap of a loop, to the first picture", first);
    Print("gap of a loop, until the picture moves", moving);
}

void Stops(const char* what, bool hasEvents) {
    Item item;
    std::vector<double> times;
    if (item.Load("test://640x360@25/60s?audio=440")) {
        if (!hasEvents) {
            item->SetEventCallBackFun(nullptr, nullptr);
        }
        for (int i = 0; i < 30; ++i) {
            item->Play();
            Sleep(50 + static_cast<DWORD>(i) * 7 % 50);
            const auto begin = Clock::now();
            item->Stop();
            times.push_back(Since(begin));
        }
    }
    Print(what, times);
}

/// The least time of a call in nanoseconds, ours and the bare one in turns.
template <class Ours, class Bare> bool Calls(const char* what, Ours&& ours, Bare&& bare) {
    constexpr int kCalls = 2000;
    const auto time = [](auto&& call, double& least) {
        const auto begin = Clock::now();
        for (int i = 0; i < kCalls; ++i) {
            call();
        }
        least = std::min(least, Since(begin) * 1e6 / kCalls);
    };
    double least[2] = {1e12, 1e12};
    for (int round = 0; round < 100; ++round) {
        time(ours, least[0]);
        time(bare, least[1]);
    }
    const double ratio = least[0] / least[1];
    std::printf("%-44s %9.0f %9.0f %9.2f\n", what, least[0], least[1], ratio);
    return ratio <= kRatioLimit;
}

/// What a host asks all the time while it plays, with an event thread and without.
bool Questions(bool hasEvents) {
    Item item;
    ComPtr<IMediaSeeking> seeking;
    ComPtr<IMediaControl> control;
    if (!item.Load("test://640x360@25/60s?audio=440") ||
        FAILED(item.Graph()->QueryInterface(IID_PPV_ARGS(&seeking))) ||
        FAILED(item.Graph()->QueryInterface(IID_PPV_ARGS(&control)))) {
        return false;
    }
    if (!hasEvents) {
        item->SetEventCallBackFun(nullptr, nullptr);
    }
    item->Play();
    // Until the clock runs the graph answers without asking it.
    for (int tries = 0; tries < 1000 && item->GetMediaPosition() == 0; ++tries) {
        Sleep(1);
    }
    const bool isQuick = Calls(
        hasEvents ? "GetMediaPosition, event thread" : "GetMediaPosition",
        [&] { item->GetMediaPosition(); },
        [&] {
            LONGLONG position = 0;
            seeking->GetCurrentPosition(&position);
        });
    return Calls(
               hasEvents ? "IsPlaying, event thread" : "IsPlaying", [&] { item->IsPlaying(); },
               [&] {
                   OAFilterState state = State_Stopped;
                   control->GetState(500, &state);
               }) &&
           isQuick;
}

void FreeRunning(const std::string& file) {
    std::vector<double> ours;
    std::vector<double> theirs;
    std::size_t pictures = 0;
    std::printf("%s\n", file.c_str());
    for (int i = 0; i < 5; ++i) {
        Item item;
        item->SetAmain(1);
        if (!item.Load(file)) {
            break;
        }
        const auto begin = Clock::now();
        item->Play();
        if (!item.Played(1)) {
            break;
        }
        ours.push_back(Since(begin));
        const std::vector<TestRecord> records = item.Records();
        pictures = static_cast<std::size_t>(
            std::count_if(records.begin(), records.end(), [](const TestRecord& record) {
                return record.kind == TestRecord::Sample;
            }));
        if (const double time = bench::FfmpegTime(file); time > 0) {
            theirs.push_back(time);
        }
    }
    std::printf("  %zu pictures\n", pictures);
    Print("free-running, whole file", ours);
    Print("ffmpeg -f null, whole file", theirs);
    if (!ours.empty() && !theirs.empty()) {
        const double best = *std::min_element(ours.begin(), ours.end());
        std::printf("%-44s %9.2f\n", "ratio of the least times",
                    best / *std::min_element(theirs.begin(), theirs.end()));
    }
}

} // namespace

int main(int argc, char** argv) {
    const char* const directory = std::getenv("YMD_MEDIA_DIR");
    const std::string file = argc > 1               ? argv[1]
                             : directory != nullptr ? std::string(directory) + "\\sample.mp4"
                                                    : "sample.mp4";
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::printf("%-44s %9s %9s %9s %5s\n", "milliseconds", "least", "median", "95 %", "count");
    Seeks("seek to first picture, paused", false);
    Seeks("seek to first picture, running", true);
    Loops();
    Stops("stop", false);
    Stops("stop with an event thread", true);
    FreeRunning(file);
    std::printf("%-44s %9s %9s %9s\n", "nanoseconds a call, the least", "ours", "bare", "ratio");
    const bool isQuick = Questions(false);
    const bool withinLimit = Questions(true) && isQuick;
    std::printf("limit of the ratio: %.2f\n", kRatioLimit);
    CoUninitialize();
    return withinLimit ? 0 : 1;
}
