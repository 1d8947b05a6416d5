#include "Keys.h"

#include <cwctype>

namespace ymds {

std::optional<Action> ActionOfKey(WORD virtualKey, wchar_t character) {
    switch (virtualKey) {
    case VK_LEFT:
        return Action::SeekBack;
    case VK_RIGHT:
        return Action::SeekForward;
    default:
        break;
    }
    switch (std::towlower(character)) {
    case L' ':
        return Action::TogglePause;
    case L'.':
        return Action::Step;
    case L'm':
        return Action::ToggleMute;
    case L'l':
        return Action::ToggleLoop;
    case L'[':
        return Action::ClipStart;
    case L']':
        return Action::ClipEnd;
    case L's':
        return Action::Snapshot;
    case L'a':
        return Action::NextAudioTrack;
    case L'q':
        return Action::Quit;
    default:
        return std::nullopt;
    }
}

} // namespace ymds
