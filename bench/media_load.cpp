// Loading a file through CMedia beside a bare RenderFile of the same file in the same process,
// turn by turn, median of each. The difference is what the media information, the track scan
// and the stored settings cost. Reads the files named, or the samples of YMD_MEDIA_DIR.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include <wrl/client.h>

namespace {

using Clock = std::chrono::steady_clock;
using Microsoft::WRL::ComPtr;

constexpr int kRounds = 7;
constexpr double kFailed = -1.0;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Milliseconds until the file is rendered; the teardown is not counted.
double RenderBare(const std::wstring& path) {
    const auto start = Clock::now();
    ComPtr<IGraphBuilder> graph;
    if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&graph))) ||
        FAILED(graph->RenderFile(path.c_str(), nullptr))) {
        return kFailed;
    }
    return MillisecondsSince(start);
}

double LoadMedia(const std::string& path) {
    ymdshow::CMediaPlayer player;
    const auto start = Clock::now();
    const bool loaded = player.AddMedia(path, 1) != nullptr;
    return loaded ? MillisecondsSince(start) : kFailed;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// False when either way fails on the file.
bool Compare(const std::string& path, const std::string& name) {
    const std::wstring wide(path.begin(), path.end()); // the samples' names are ASCII
    std::vector<double> bare;
    std::vector<double> media;
    for (int round = 0; round <= kRounds; ++round) {
        const double bareTime = RenderBare(wide);
        const double mediaTime = LoadMedia(path);
        if (bareTime < 0.0 || mediaTime < 0.0) {
            std::printf("%-16s %s\n", name.c_str(),
                        bareTime < 0.0 ? "RenderFile failed" : "the load failed");
            return false;
        }
        if (round > 0) { // the first graph of a process pays for more than the file
            bare.push_back(bareTime);
            media.push_back(mediaTime);
        }
    }
    const double base = Median(bare);
    const double mine = Median(media);
    std::printf("%-16s %12.1f %12.1f %8.2f\n", name.c_str(), base, mine, mine / base);
    std::fflush(stdout);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        return 1;
    }
    std::printf("%-16s %12s %12s %8s\n", "file", "RenderFile ms", "CMedia ms", "ratio");
    bool passed = true;
    bool named = false;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] != '-') { // options are those of the other benchmarks
            passed = Compare(argv[i], argv[i]) && passed;
            named = true;
        }
    }
    if (!named) {
        const char* const samples = std::getenv("YMD_MEDIA_DIR");
        const std::string directory = samples != nullptr ? samples : ".";
        for (const char* name :
             {"clip.mp4", "clip.mkv", "clip.avi", "clip.mpg", "clip.mp3", "clip.wav"}) {
            passed = Compare(directory + "\\" + name, name) && passed;
        }
    }
    CoUninitialize();
    return passed ? 0 : 1;
}
