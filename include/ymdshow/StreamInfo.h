#pragma once

#include <cstdint>
#include <string>

#include <ymdshow/Export.h>

namespace ymdshow {

/// What is known about one video stream. Times are in 100 ns units, sizes in
/// pixels. The media information fills a record first; the graph scan corrects
/// it from the media type that reached the renderer.
struct YMDSHOW_API VideoInfo {
    VideoInfo() = default;
    VideoInfo(const VideoInfo&) = default;
    VideoInfo& operator=(const VideoInfo&) = default;
    virtual ~VideoInfo();

    /// True when the display aspect ratio is known and differs from
    /// width / height by more than 0.1, so that applying it is worth while.
    bool IsDisplayAspectRatioVaild() const;

    std::string format; ///< format name, lower case; a scheme name
    std::int32_t width = 0;
    std::int32_t height = 0;
    float displayAspectRatio = -1.0F; ///< -1 when unknown
    float rotation = 0.0F;            ///< degrees
    std::int64_t avgFrameTime = 0;
    std::int64_t duration = 0;
    std::int64_t sourceDuration = 0;
};

/// What a filter that lists streams calls one of them.
struct StreamName {
    std::wstring name;     ///< empty when it gives none
    std::wstring language; ///< such as "en" or "en-US"; empty when it is not known
};

/// What is known about one audio stream. Times are in 100 ns units.
struct YMDSHOW_API AudioInfo {
    AudioInfo() = default;
    AudioInfo(const AudioInfo&) = default;
    AudioInfo& operator=(const AudioInfo&) = default;
    virtual ~AudioInfo();

    std::string format; ///< format name, lower case; a scheme name
    /// Samples per second once the graph has been scanned; before that the
    /// media information's value times 1000.
    std::uint32_t samplingRate = 0;
    std::uint32_t channels = 0;
    std::uint32_t bitDepth = 0;
    std::int64_t duration = 0;
    std::int64_t sourceDuration = 0;
};

} // namespace ymdshow
