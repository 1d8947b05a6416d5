#pragma once

// What the tests of playback, events and output add to the fixture of media items.

#include "media_fixture.h"

namespace media_tests {

constexpr std::int64_t kSecond = 10'000'000;
const HWND kWindow = reinterpret_cast<HWND>(0x123456); // of nobody

inline Lines operator+(Lines all, const Lines& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

class LoadedMedia : public MediaTest {
protected:
    Media media{nullptr};

    void SetUp() override { Loaded(media); }

    /// Brings the item and its graph into a state, and forgets the calls that it took.
    void Bring(std::int32_t state) {
        EXPECT_TRUE(media.Stop() && (state == State_Stopped || media.Play()) &&
                    (state != State_Paused || media.Pause()) && media.m_playState == state);
        journal.Clear();
    }
};

} // namespace media_tests
