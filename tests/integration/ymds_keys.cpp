// The player's window and its keys, pressed as a person presses them.
#include "integration/ymds_program.h"

#include <algorithm>
#include <regex>

#include <gtest/gtest.h>

namespace ymds_tests {

namespace {

/// Waits until it is so, at most 60 s.
bool Await(const std::function<bool()>& condition, int milliseconds = 60'000) {
    for (int waited = 0; waited < milliseconds && !condition(); waited += 20) {
        Sleep(20);
    }
    return condition();
}

/// The player's window, once it has the keyboard.
HWND AwaitWindow() {
    wchar_t name[64] = {};
    EXPECT_TRUE(Await([&] {
        GetClassNameW(GetForegroundWindow(), name, 64);
        return std::wstring(name) == L"YmdsPlayWindow";
    }));
    return GetForegroundWindow();
}

/// Presses keys, for the window in front. Each of `noted` is answered by a line of the player. On
/// a busy machine Wine may lose one while the renderer's window comes to the front: once more then.
void Press(const Notes& notes, const std::vector<WORD>& keys, const std::string& noted = "") {
    for (const WORD key : keys) {
        const std::size_t before = notes().size();
        const auto isNoted = [&] { return notes().size() > before; };
        const auto press = [&] {
            INPUT input{};
            input.type = INPUT_KEYBOARD;
            input.ki.wVk = key;
            input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(key, MAPVK_VK_TO_VSC));
            input.ki.dwFlags = key == VK_LEFT || key == VK_RIGHT ? KEYEVENTF_EXTENDEDKEY : 0;
            SendInput(1, &input, sizeof input);
            input.ki.dwFlags |= KEYEVENTF_KEYUP;
            SendInput(1, &input, sizeof input);
        };
        press();
        if (noted.find(static_cast<char>(key)) != std::string::npos || key >= VK_OEM_1) {
            if (!Await(isNoted, 20'000)) {
                press();
            }
            EXPECT_TRUE(Await(isNoted)) << key;
        }
    }
}

/// Clicks into the middle of a window.
void Click(HWND window) {
    RECT area{};
    GetWindowRect(window, &area);
    SetCursorPos((area.left + area.right) / 2, (area.top + area.bottom) / 2);
    INPUT input{};
    input.type = INPUT_MOUSE;
    for (const DWORD flag : {MOUSEEVENTF_LEFTDOWN, MOUSEEVENTF_LEFTUP}) {
        input.mi.dwFlags = flag;
        SendInput(1, &input, sizeof input);
    }
}

constexpr WORD kOpen = VK_OEM_4;

TEST(YmdsKeys, DriveThePlayerFromItsWindow) {
    const Scratch scratch;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(scratch.Path(L"")); // where pictures are saved
    long clientWidth = 0;
    const Result result = RunYmds(
        {L"play", L"test://640x360@25/10s", L"--window", L"--json", L"--no-snapshot"},
        [&](const Notes& player) {
            const HWND window = AwaitWindow();
            RECT client{};
            GetClientRect(window, &client);
            clientWidth = client.right;
            Press(player, {VK_SPACE, 'M', 'M', 'L', 'L', kOpen}, "ML");
            Sleep(500); // paused: the second is the same place
            Press(player, {kOpen, VK_RIGHT, VK_OEM_6, VK_LEFT, VK_OEM_PERIOD, 'A', 'S'}, "AS");
            Click(window); // the picture now has the keyboard
            Press(player, {'M', 'M', 'Q'}, "M");
        });
    std::filesystem::current_path(before);
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(clientWidth, 640);
    EXPECT_EQ(result.Json()["end"], "quit");
    const std::regex notes(R"(muted\nsound on\nloop on\nloop off\n)"
                           R"(clip 0:(\d\d\.\d) to 0:(10\.0|09\.9)\nclip 0:\1 to 0:\2\n)"
                           R"(clip 0:(\d\d\.\d) to 0:(\d\d\.\d)\nstepped.*\n)"
                           R"(there is no other audio track\nsaved (10s-snapshot-.*)\n)"
                           R"(muted\nsound on\n)"); // a key counts once, wherever it is pressed
    std::smatch match;
    ASSERT_TRUE(std::regex_match(result.err, match, notes)) << result.err;
    const double start = std::stod(match[1]);
    EXPECT_NEAR(std::stod(match[3]), start, 0.11);
    EXPECT_NEAR(std::stod(match[4]), std::min(start + 5, 10.0), 0.4);
    EXPECT_EQ(ReadPng(scratch.Path({match[5].first, match[5].second})).width, 640U);
}

TEST(YmdsKeys, ChangeTheAudioTrack) {
    const Result result =
        RunYmds({L"play", L"test://320x180@25/30s?audio=440,880", L"--window", L"--json"},
                [](const Notes& player) {
                    AwaitWindow();
                    Press(player, {'A', 'A', 'Q'}, "A");
                });
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.err, "audio track 2 of 2\naudio track 1 of 2\n");
}

} // namespace

} // namespace ymds_tests
