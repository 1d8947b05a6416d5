#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ymdshow/StreamInfo.h>

namespace ymdshow {

/// What the media information library knows about one file. Text is in code page 936.
struct StreamFacts {
    std::string format;           ///< the container's, lower case
    std::int64_t duration = 0;    ///< the container's, 100 ns units
    std::vector<VideoInfo> video; ///< image streams stand after the video streams
    std::vector<AudioInfo> audio;
    std::string report;
};

/// Which corrections of picture sizes are in force.
struct PictureCorrections {
    bool fix1088Height = true;
    bool evenVideoSize = true;
};

enum class FactsResult { Read, NoLibrary, NotOpened };

/// Reads the file at `path`. `facts` changes only when the result is Read.
FactsResult ReadStreamFacts(const std::wstring& path, PictureCorrections corrections,
                            StreamFacts& facts);

} // namespace ymdshow
