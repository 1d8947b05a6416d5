#pragma once

#include <windows.h>

#include <ymdshow/GraphToolkit.h>

namespace ymdshow::toolkit {

/// The kind that a media type's major type stands for; other major types are unknown.
DSPinMediaType KindOfMajorType(const GUID& majorType) noexcept;

/// Tracks counted by kind.
class TrackCounts {
public:
    void Add(DSPinMediaType kind) noexcept { ++m_counts[kind]; }

    /// Null pointers are skipped.
    void Write(unsigned int* video, unsigned int* audio, unsigned int* text) const noexcept {
        unsigned int* const targets[] = {nullptr, video, audio, text};
        for (int kind = DSPMT_VIDEO; kind <= DSPMT_TEXT; ++kind) {
            if (targets[kind] != nullptr) {
                *targets[kind] = m_counts[kind];
            }
        }
    }

private:
    unsigned int m_counts[DSPMT_TEXT + 1] = {};
};

} // namespace ymdshow::toolkit
