#pragma once

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <ymlib/Json.h>

namespace ymds_tests {

struct Result {
    int code = -1; ///< exit status
    std::string out;
    std::string err;

    /// Standard output as one JSON document; null when it is anything else.
    Json::Value Json() const;
};

/// What the program has written on standard error so far.
using Notes = std::function<std::string()>;

/// Runs ymds.exe from beside the test with files for its output, at most 200 s. `during` is
/// called while it runs.
Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(const Notes&)>& during = {});

/// A file of YMD_MEDIA_DIR.
std::wstring Media(const std::wstring& name);

/// A directory of its own in the system's temporary directory, removed at the end.
class Scratch {
public:
    Scratch() { std::filesystem::create_directories(m_path); }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::wstring Path(const std::wstring& name) const { return (m_path / name).wstring(); }
    std::wstring Write(const std::wstring& name, const std::string& text) const {
        std::ofstream(m_path / name, std::ios::binary) << text;
        return Path(name);
    }

private:
    static inline int s_count = 0;
    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() /
        ("ymds-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++s_count));
};

struct Image {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> bgr; ///< rows from the top
};

/// Empty when it is no readable picture.
Image ReadPng(const std::wstring& path);

} // namespace ymds_tests
