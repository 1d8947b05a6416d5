#include "ffmpeg_time.h"

#include <windows.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(30);

/// The path as the machine under Wine knows it, as it is on Windows.
std::string NativePath(const std::string& path) {
    using UnixName = char*(CDECL*)(const wchar_t*);
    const auto convert = reinterpret_cast<UnixName>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
    char* const name =
        convert != nullptr ? convert(std::filesystem::path(path).wstring().c_str()) : nullptr;
    if (name == nullptr) {
        return path;
    }
    const std::string text = name;
    HeapFree(GetProcessHeap(), 0, name);
    return text;
}

} // namespace

double bench::FfmpegTime(const std::string& file) {
    const std::filesystem::path log = std::filesystem::temp_directory_path() / "ymd-ffmpeg.log";
    std::ofstream(log).close();
    const std::string quote = NativePath(file) == file ? "\"" : "'";
    std::string command = "ffmpeg -nostdin -benchmark -i " + quote + NativePath(file) + quote +
                          " -f null - >" + quote + NativePath(log.string()) + quote + " 2>&1";
    command = NativePath(file) == file ? "cmd /c \"" + command + "\""
                                       : "Z:\\bin\\sh -c \"" + command + "\"";
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &start, &process)) {
        return 0;
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    // Wine does not wait for a program of the machine's own.
    for (const auto begin = Clock::now(); Clock::now() - begin < kPatience; Sleep(20)) {
        std::ifstream in(log);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        const std::size_t at = text.find("rtime=");
        if (at != text.npos && text.find('\n', at) != text.npos) {
            return std::atof(text.c_str() + at + 6) * 1000;
        }
        if (text.find("not found") != text.npos || text.find("not recognized") != text.npos) {
            break;
        }
    }
    return 0;
}
