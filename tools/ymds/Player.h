#pragma once

#include <cstdint>
#include <string>

#include <ymdshow/ymdshow.h>

#include "Keys.h"

namespace ymds {

/// What the keys do to a media item that plays. Positions are in 100 ns units.
class Player {
public:
    /// `needsStop`: the graph must not be moved but while it is stopped.
    Player(ymdshow::CMedia& media, bool needsStop);

    /// Does everything but Snapshot and Quit, and answers with a remark for the user.
    std::wstring Do(Action action);

    std::int64_t Position() const { return m_media.GetMediaPosition(); }
    bool IsPaused() const { return m_isPaused; }
    const wchar_t* State() const;

    /// Moves to a position and keeps the state.
    bool Seek(std::int64_t position);

private:
    std::wstring TogglePause();
    std::wstring Step(int frames);
    std::wstring ToggleMute();
    std::wstring ToggleLoop();
    std::wstring Clip(std::int64_t start, std::int64_t end);
    std::wstring NextAudioTrack();
    template <class Operation> bool WhileStopped(Operation operation);
    template <class Operation> bool WhileStill(Operation operation);

    ymdshow::CMedia& m_media;
    const bool m_needsStop;
    bool m_isPaused = false;
    bool m_isMuted = false;
    long m_volume = 0; ///< before muting
};

} // namespace ymds
