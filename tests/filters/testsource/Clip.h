#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ymfilters {

constexpr LONGLONG kSecond = 10'000'000;

/// The synthetic clip that a name describes; see README.md.
struct Clip {
    int width = 640;
    int height = 360;
    int bits = 32;
    LONGLONG frameRate = 25; ///< frames in `frameScale` seconds
    LONGLONG frameScale = 1;
    LONGLONG duration = 10 * kSecond;
    bool hasVideo = true;
    bool isCoded = false;
    std::vector<double> tones = {440.0}; ///< one audio pin each
    std::vector<double> streams;         ///< tones that IAMStreamSelect chooses from
    int samplingRate = 44100;
    int channels = 2;
    bool isSeekable = true;
    bool isLiveConnectable = false;
    HRESULT loadResult = S_OK; ///< what Load answers
    DWORD loadDelay = 0;       ///< milliseconds that Load takes
    DWORD startDelay = 0;      ///< milliseconds before each run's first sample
    DWORD sampleDelay = 0;     ///< milliseconds before each sample
    LONGLONG breakAt = -1;     ///< time at which the streams break off with an error

    LONGLONG FrameCount() const { return FrameAt(duration - 1) + 1; }
    LONGLONG FrameTime(LONGLONG frame) const {
        return (frame * kSecond * frameScale + frameRate - 1) / frameRate;
    }
    /// The frame that is shown at a time.
    LONGLONG FrameAt(LONGLONG time) const { return time * frameRate / (kSecond * frameScale); }
};

/// Reads a `test://` name, or a file whose first line is one; any other name is the
/// default clip. Nothing when a name that begins with `test://` makes no sense.
std::optional<Clip> ReadClip(const std::wstring& name);

std::optional<Clip> ParseClip(std::wstring_view name);

} // namespace ymfilters
