#pragma once

// A MediaInfo.dll that answers from a table, and how a test places and fills it.

#include <windows.h>

#include <filesystem>
#include <map>
#include <string>

namespace fakes {

struct MediaInfoTable {
    /// By call: "Get 1 0 Format" (stream kind and number), "Count 1", "Open a.mp4". A number
    /// for Open (1 without) and Count (0); any text for "New" refuses handles.
    std::map<std::string, std::string> answers;
    std::string calls; ///< one a line
    int handles = 0;   ///< alive
};

inline std::filesystem::path MediaInfoFakeFile() {
    wchar_t program[MAX_PATH]{};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return std::filesystem::path(program).parent_path() / L"mediainfo_fake" / L"MediaInfo.dll";
}

/// From here on a DLL that is loaded by name is looked for beside the program and in
/// `directory`, and neither in the working directory nor along PATH.
inline void LoadLibrariesFrom(const std::filesystem::path& directory) {
    SetEnvironmentVariableW(L"PATH", L"");
    SetDllDirectoryW(directory.c_str());
}

/// Of the fake, which is loaded in this process.
inline MediaInfoTable& MediaInfoFake() {
    return *reinterpret_cast<MediaInfoTable*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"MediaInfo.dll"), "FakeTable")));
}

} // namespace fakes
