#pragma once

// What the tests of playback, events and output add to the fixture of media items.

#include "media_fixture.h"

namespace media_tests {

constexpr std::int64_t kSecond = 10'000'000;

/// Brings a loaded item and its graph into a state, and forgets the calls that it took.
inline void Bring(Media& media, std::int32_t state) {
    const Silence silence;
    ASSERT_EQ(media.Stop(), 1);
    if (state != State_Stopped) {
        ASSERT_EQ(media.Play(), 1);
    }
    if (state == State_Paused) {
        ASSERT_EQ(media.Pause(), 1);
    }
    ASSERT_EQ(media.m_playState, state);
}

/// The time format in use (GUID_NULL: it will not say) and those that are taken.
struct Formats {
    GUID inUse = TIME_FORMAT_MEDIA_TIME;
    bool takesTime = true;
    bool takesFrames = false;

    /// 10 s or 250 frames long.
    void Apply(SeekingFacet& seeking) const {
        seeking.results.Clear();
        seeking.OnlyFormat(inUse, 10 * kSecond);
        if (inUse == GUID_NULL) {
            seeking.results["GetTimeFormat"] = E_FAIL;
        }
        if (takesTime) {
            seeking.durations[TIME_FORMAT_MEDIA_TIME] = 10 * kSecond;
        }
        if (takesFrames) {
            seeking.SupportFrames();
        }
    }
};

inline Lines operator+(Lines all, const Lines& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

} // namespace media_tests
