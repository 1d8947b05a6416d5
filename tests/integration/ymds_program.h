#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <json/json.h>

namespace ymds_tests {

struct Result {
    int code = -1; ///< exit status; -1 when it did not end in time
    std::string out;
    std::string err;

    /// Standard output as one JSON document; null when it is anything else.
    Json::Value Json() const;
};

/// Runs ymds.exe from beside the test with files for its output, at most 50 s. `during` is
/// called with its process id while it runs.
Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(unsigned long)>& during = {});

/// A file of YMD_MEDIA_DIR.
std::wstring Media(const std::wstring& name);

/// A directory of the test's own in the system's temporary directory, removed at the end.
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

    /// The share of the pixels of a vertical band whose channels are all within 60 of `bgr`.
    double Share(unsigned left, unsigned right, const std::uint8_t (&colour)[3]) const;
};

/// Empty when it is no readable picture.
Image ReadPng(const std::wstring& path);

std::string Utf8(const std::wstring& text);

} // namespace ymds_tests
