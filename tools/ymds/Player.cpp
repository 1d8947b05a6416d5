#include "Player.h"

#include <algorithm>

#include "Text.h"

namespace ymds {

namespace {

constexpr std::int64_t kSeekStep = 5LL * 10000000;
// A seek to the very end leaves nothing to show, and Wine's splitter waiting for it.
constexpr std::int64_t kEndMargin = 5000000;
constexpr std::int64_t kUsualFrameTime = 400000;

} // namespace

Player::Player(ymdshow::CMedia& media, bool needsStop) : m_media(media), m_needsStop(needsStop) {}

const wchar_t* Player::State() const {
    return m_isPaused ? L"paused" : m_isMuted ? L"playing (muted)" : L"playing";
}

std::wstring Player::Do(Action action) {
    switch (action) {
    case Action::TogglePause:
        return TogglePause();
    case Action::SeekBack:
        return Seek(Position() - kSeekStep) ? L"" : L"the graph refused the seek";
    case Action::SeekForward:
        return Seek(Position() + kSeekStep) ? L"" : L"the graph refused the seek";
    case Action::Step:
        return Step(1);
    case Action::StepBack:
        return Step(-1);
    case Action::ToggleMute:
        return ToggleMute();
    case Action::ToggleLoop:
        return ToggleLoop();
    case Action::ClipStart:
        return Clip(Position(), m_media.GetClipEndTime());
    case Action::ClipEnd:
        return Clip(m_media.GetClipStartTime(), Position());
    case Action::NextAudioTrack:
        return NextAudioTrack();
    case Action::Snapshot:
    case Action::Quit:
        break;
    }
    return {};
}

template <class Operation> bool Player::WhileStopped(Operation operation) {
    m_media.Stop();
    const bool done = operation() == 1;
    return m_media.Play() == 1 && (!m_isPaused || m_media.Pause() == 1) && done;
}

template <class Operation> bool Player::WhileStill(Operation operation) {
    return m_needsStop ? WhileStopped(operation) : operation() == 1;
}

bool Player::Seek(std::int64_t position) {
    const std::int64_t duration = m_media.GetOriginalDuration();
    std::int64_t target = std::max<std::int64_t>(position, 0);
    if (duration > 0) {
        target = std::min(target, std::max<std::int64_t>(duration - kEndMargin, 0));
    }
    return WhileStill([&] { return m_media.SetMediaPosition(target); });
}

std::wstring Player::TogglePause() {
    const int done = m_isPaused ? m_media.Play() : m_media.Pause();
    m_isPaused = done == 1 ? !m_isPaused : m_isPaused;
    return done == 1 ? L"" : L"the graph refused";
}

std::wstring Player::Step(int frames) {
    bool isStepped = false;
    if (m_needsStop) {
        const std::int64_t frame = m_media.GetVideoOiginalAvgFrameTime();
        const std::int64_t position = Position();
        m_isPaused = m_isPaused || m_media.Pause() == 1;
        isStepped = Seek(position + frames * (frame > 0 ? frame : kUsualFrameTime));
    } else {
        isStepped = m_media.StepFrames(frames) == 1;
        m_isPaused = m_media.IsPaused() == 1;
    }
    return isStepped ? L"stepped" : L"the graph refused the step";
}

std::wstring Player::ToggleMute() {
    if (m_isMuted) {
        // The library's ResumeAudio would come back at full volume.
        m_isMuted = m_media.SetVolume(m_volume) != 1;
        return m_isMuted ? L"the graph refused" : L"sound on";
    }
    m_volume = m_media.GetVolume();
    m_isMuted = m_media.MuteAudio() == 1;
    return m_isMuted ? L"muted" : L"there is no sound to mute";
}

std::wstring Player::ToggleLoop() {
    m_media.SetLoop(m_media.IsLoop() == 0 ? 1 : 0);
    return m_media.IsLoop() != 0 ? L"loop on" : L"loop off";
}

std::wstring Player::Clip(std::int64_t start, std::int64_t end) {
    return WhileStill([&] { return m_media.TimeClip(start, end); })
               ? L"clip " + Clock(m_media.GetClipStartTime()) + L" to " +
                     Clock(m_media.GetClipEndTime())
               : L"the graph refused the clip";
}

std::wstring Player::NextAudioTrack() {
    const unsigned count = m_media.GetAudioTrackNum();
    if (count < 2) {
        return L"there is no other audio track";
    }
    const unsigned next =
        static_cast<unsigned>(m_media.GetFirstEnabledAudioTrackIndex() + 1) % count;
    bool done = false;
    if (m_media.GetAudioTrackRender(0) == m_media.GetAudioTrackRender(1)) {
        done = m_media.EnableOnlyOneAudioTrack(next); // streams of one renderer
    } else {
        // A graph that runs keeps its connections, whatever it is asked.
        const std::int64_t position = Position();
        done = WhileStopped([&] {
            return m_media.EnableOnlyOneAudioTrack(next) ? m_media.SetMediaPosition(position) : 0;
        });
    }
    return done ? L"audio track " + std::to_wstring(next + 1) + L" of " + std::to_wstring(count)
                : L"the track could not be switched";
}

} // namespace ymds
