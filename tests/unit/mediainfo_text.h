#pragma once

// Records of the media information as text, in the order of their fields.

#include <sstream>

#include <ymdshow/StreamInfo.h>

namespace media_tests {

inline std::string TextOf(const ymdshow::VideoInfo& info) {
    return (std::ostringstream() << info.format << ' ' << info.width << 'x' << info.height << ' '
                                 << info.displayAspectRatio << ' ' << info.rotation << ' '
                                 << info.avgFrameTime << ' ' << info.duration << ' '
                                 << info.sourceDuration)
        .str();
}

inline std::string TextOf(const ymdshow::AudioInfo& info) {
    return (std::ostringstream() << info.format << ' ' << info.samplingRate << ' ' << info.channels
                                 << ' ' << info.bitDepth << ' ' << info.duration << ' '
                                 << info.sourceDuration)
        .str();
}

} // namespace media_tests
