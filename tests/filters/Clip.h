#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace ymfilters {

constexpr LONGLONG kSecond = 10'000'000;

/// The synthetic clip that a name describes; see README.md.
struct Clip {
    int width = 640;
    int height = 360;
    int frameRate = 25;
    LONGLONG duration = 10 * kSecond;
    int hasVideo = 1;
    int isCoded = 0;
    int isLiveConnectable = 0;
    std::vector<int> tones = {440}; ///< one audio pin each
    std::vector<int> streams;       ///< tones that IAMStreamSelect chooses from
    int samplingRate = 44100;
    HRESULT loadResult = S_OK; ///< what Load answers
};

/// Reads a `test://` name, or a file whose first line is one. Nothing when it makes no sense.
std::optional<Clip> ReadClip(std::wstring name);

} // namespace ymfilters
