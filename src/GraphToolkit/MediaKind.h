#pragma once

#include <windows.h>

#include <ymdshow/GraphToolkit.h>

namespace ymdshow::toolkit {

/// The kind that a media type's major type stands for; other major types are unknown.
DSPinMediaType KindOfMajorType(const GUID& majorType) noexcept;

/// Tracks counted by kind.
struct TrackCounts {
    unsigned int video = 0;
    unsigned int audio = 0;
    unsigned int text = 0;

    void Add(DSPinMediaType kind) noexcept;
    /// Null pointers are skipped.
    void Write(unsigned int* toVideo, unsigned int* toAudio, unsigned int* toText) const noexcept;
};

} // namespace ymdshow::toolkit
