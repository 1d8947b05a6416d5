#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <json/json.h>

namespace ymds_tests {

/// The lines of a text, without their ends.
std::vector<std::string> Lines(const std::string& text);

struct Result {
    int code = -1; ///< exit status; -1 when it did not end in time
    std::string out;
    std::string err;

    /// Standard output as one JSON document; null when it is anything else.
    Json::Value Json() const;
};

/// The program while it runs.
struct Running {
    std::function<std::vector<std::string>()> Notes; ///< its lines on standard error so far

    /// Waits until it is so, at most 60 s.
    bool Await(const std::function<bool()>& condition) const;
};

/// Runs ymds.exe from beside the test with files for its output, at most 200 s. `during` is
/// called while it runs.
Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(const Running&)>& during = {});

/// A file of YMD_MEDIA_DIR.
std::wstring Media(const std::wstring& name);

/// A directory of its own in the system's temporary directory, removed at the end.
class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    std::wstring Path(const std::wstring& name) const;
    std::wstring Write(const std::wstring& name, const std::string& text) const;

private:
    std::wstring m_path;
};

struct Image {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> bgr; ///< rows from the top
};

/// Empty when it is no readable picture.
Image ReadPng(const std::wstring& path);

std::string Utf8(const std::wstring& text);

} // namespace ymds_tests
