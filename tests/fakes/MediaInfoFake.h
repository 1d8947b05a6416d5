#pragma once

// A MediaInfo.dll that answers from a table, and what a test needs to place it and fill it.
// Text of the table is UTF-8. Like the real library, it takes and gives the ANSI code page
// until Option("CharSet", "UTF-8"), and overwrites a returned text with the next one.

#include <windows.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace fakes {

/// Filled by the DLL.
struct MediaInfoFakeControls {
    void (*reset)();
    void (*answer)(int streamKind, std::size_t stream, const char* parameter, const char* text);
    void (*count)(int streamKind, std::size_t count);
    void (*report)(const char* text);
    void (*openResult)(std::size_t result);
    void (*refuseHandles)(bool refuse);
    /// The calls since the reset, one a line.
    const char* (*calls)();
    int (*liveHandles)();
    int (*handlesMade)();
};

enum Kind { General = 0, Video = 1, Audio = 2, Image = 5 };

inline std::filesystem::path ProgramDirectory() {
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

inline std::filesystem::path MediaInfoFakeFile() {
    return ProgramDirectory() / L"mediainfo_fake" / L"MediaInfo.dll";
}

/// From here on a DLL that is loaded by name is looked for beside the program and in
/// `directory`, and neither in the working directory nor along PATH.
inline void LoadLibrariesFrom(const std::filesystem::path& directory) {
    SetEnvironmentVariableW(L"PATH", L"");
    SetDllDirectoryW(directory.c_str());
}

/// The controls of the fake that is loaded in this process; null when there is none.
inline const MediaInfoFakeControls* MediaInfoFake() {
    const HMODULE module = GetModuleHandleW(L"MediaInfo.dll");
    return module == nullptr ? nullptr
                             : reinterpret_cast<const MediaInfoFakeControls*>(
                                   reinterpret_cast<void*>(GetProcAddress(module, "FakeControls")));
}

} // namespace fakes
