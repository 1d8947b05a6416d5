#pragma once

#include <windows.h>

#include <optional>

namespace ymds {

/// What a key asks of the player.
enum class Action {
    TogglePause,
    SeekBack,
    SeekForward,
    Step,
    StepBack,
    ToggleMute,
    ToggleLoop,
    ClipStart,
    ClipEnd,
    Snapshot,
    NextAudioTrack,
    Quit
};

/// The action of a key: by its virtual code for keys without a character, else by the
/// character, in either case.
std::optional<Action> ActionOfKey(WORD virtualKey, wchar_t character);

/// One line for the help text.
inline constexpr const char* kKeyHelp =
    "Keys, in the window and in the terminal: space pause, arrows seek 5 s, . step, , step back, m mute, "
    "l loop, [ and ] clip bounds, s snapshot, a next audio track, q quit";

} // namespace ymds
