#include "Keys.h"

#include <cwctype>
#include <utility>

namespace ymds {

std::optional<Action> ActionOfKey(WORD virtualKey, wchar_t character) {
    static constexpr std::pair<wchar_t, Action> kActions[] = {
        {L' ', Action::TogglePause}, {L'.', Action::Step},       {L',', Action::StepBack},
        {L'm', Action::ToggleMute},  {L'l', Action::ToggleLoop}, {L'[', Action::ClipStart},
        {L']', Action::ClipEnd},     {L's', Action::Snapshot},   {L'a', Action::NextAudioTrack},
        {L'q', Action::Quit},
    };
    if (virtualKey == VK_LEFT || virtualKey == VK_RIGHT) {
        return virtualKey == VK_LEFT ? Action::SeekBack : Action::SeekForward;
    }
    for (const auto& [key, action] : kActions) {
        if (key == static_cast<wchar_t>(std::towlower(character))) {
            return action;
        }
    }
    return std::nullopt;
}

} // namespace ymds
