#include "integration/module_files.h"

#include <filesystem>
#include <fstream>

namespace media_tests {

int MatrixFile::FrameAt(LONGLONG time) const {
    const auto next = std::upper_bound(times.begin(), times.end(), time);
    return std::max(0, static_cast<int>(next - times.begin()) - 1);
}

Watchdog::Watchdog(int seconds)
    : m_thread([this, seconds] {
          if (WaitForSingleObject(m_done, static_cast<DWORD>(seconds) * 1000) == WAIT_TIMEOUT) {
              std::printf("hangs for %d s\n", seconds);
              std::fflush(stdout);
              TerminateProcess(GetCurrentProcess(), 3);
          }
      }) {}

Watchdog::~Watchdog() {
    SetEvent(m_done);
    m_thread.join();
    CloseHandle(m_done);
}

ModuleTest::ModuleTest() {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    auto& scheme = player.GetCoderScheme();
    const std::filesystem::path script =
        std::filesystem::path(program).parent_path() / "schemes" / "media.json";
    EXPECT_TRUE(scheme.LoadScheme(script.wstring(), 0)) << script;
    EXPECT_TRUE(scheme.LoadSchemeByScript(R"({"Filter": [
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}", "IsOnlyOne": true,
   "Path": "filters\\testrenderer.ax", "Type": "render", "IsCache": false},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}", "IsOnlyOne": true,
   "Path": "filters\\testrenderer.ax", "Type": "render", "IsCache": false}],
 "Schemes": [{"Type": "video_global", "Filters": [{"Name": "Picture"}]},
             {"Type": "audio_global", "Filters": [{"Name": "Sound"}]},
             {"Type": "unknown; http", "Filters": [{"Name": "Picture"}, {"Name": "Sound"}]}]})",
                                          0));
    media.SetAddFilterCallBack(
        [](IBaseFilter* filter, void* user) {
            const auto& self = *static_cast<ModuleTest*>(user);
            ComPtr<ITestRecorder> recorder;
            CLSID clsid;
            if (self.subtype != GUID_NULL && SUCCEEDED(filter->GetClassID(&clsid)) &&
                clsid == ymfilters::CLSID_TestVideoRenderer &&
                SUCCEEDED(filter->QueryInterface(IID_PPV_ARGS(&recorder)))) {
                recorder->Accept(self.subtype, self.format);
            }
        },
        this);
    media.SetEventCallBackFun(
        [](ymdshow::CMedia*, void* user, long code, std::int64_t, std::int64_t) {
            auto& self = *static_cast<ModuleTest*>(user);
            self.ends += code == EC_COMPLETE;
            self.aborts += code == EC_ERRORABORT;
            return 0;
        },
        this);
}

ModuleTest::~ModuleTest() {
    StopQuietly();
    media.Unload();
    for (const std::string& line : log.Lines()) { // all of them are more than anybody reads
        EXPECT_EQ(line.find("RefCount"), line.npos) << line;
    }
    log.Clear();
    if (const HMODULE module = GetModuleHandleW(L"ymdmedia.ax")) {
        using CanUnload = HRESULT(STDAPICALLTYPE*)();
        const auto canUnload = reinterpret_cast<CanUnload>(
            reinterpret_cast<void*>(GetProcAddress(module, "DllCanUnloadNow")));
        EXPECT_TRUE(Within(1000, [&] { return canUnload() == S_OK; }));
    }
    player.GetCoderScheme().UnloadScheme();
    player.GetCoderScheme().UnloadModules();
    EXPECT_EQ(GetModuleHandleW(L"ymdmedia.ax"), nullptr);
}

const std::vector<MatrixFile>& ModuleTest::Matrix() {
    static const std::vector<MatrixFile> matrix = [] {
        std::vector<MatrixFile> files;
        std::ifstream in(PathOf("matrix.tsv"));
        for (MatrixFile file; in >> file.name >> file.videos >> file.audios >> file.width >>
                              file.height >> file.duration >> file.length;) {
            std::ifstream times(PathOf(file.name + ".times"));
            file.times.clear();
            for (LONGLONG time = 0; times >> time;) {
                file.times.push_back(time);
            }
            files.push_back(file);
        }
        return files;
    }();
    return matrix;
}

const MatrixFile& ModuleTest::File(const std::string& name) {
    const auto& files = Matrix();
    return *std::find_if(files.begin(), files.end(),
                         [&](const MatrixFile& file) { return file.name == name; });
}

bool ModuleTest::Open(const std::string& path) {
    StopQuietly();
    ends = aborts = 0;
    const bool isOpen = media.SetMediaPath(path) == 1 && media.Load(nullptr, 0) == 1;
    // The fourth way is the system's.
    EXPECT_TRUE(!isOpen || media.GetLoadReport().attempts.back().way == 3) << path;
    return isOpen;
}

void ModuleTest::Seek(LONGLONG time) {
    for (IBaseFilter* const renderer : {Picture(), Sound()}) {
        if (renderer != nullptr) {
            Recorder(renderer)->Clear();
        }
    }
    EXPECT_EQ(media.SetMediaPosition(time), 1);
}

std::vector<TestRecord> ModuleTest::Shown(IBaseFilter* renderer, LONGLONG time, std::size_t count) {
    std::vector<TestRecord> shown;
    if (renderer == nullptr) {
        return shown;
    }
    Within(5000, [&] {
        shown = Records(renderer, TestRecord::Sample);
        std::erase_if(shown, [=](const TestRecord& record) { return record.segmentStart != time; });
        return shown.size() >= count || ends > 0 || aborts > 0;
    });
    return shown;
}

std::string ModuleTest::JudgePictures(const MatrixFile& file, LONGLONG time, std::size_t count) {
    if (file.times.empty()) {
        return "";
    }
    const int first = file.FrameAt(time);
    count = std::min(count, file.times.size() - static_cast<std::size_t>(first));
    const auto shown = Shown(Picture(), time, count);
    std::string said = " " + std::to_string(time) + ":";
    bool isRight = shown.size() >= count;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        isRight = isRight && shown[i].frame == first + static_cast<int>(i);
        said += i < 5 ? " " + std::to_string(shown[i].frame) : "";
    }
    return isRight ? "" : said + ", not " + std::to_string(first) + " and on;";
}

} // namespace media_tests
