// The player's window and its keys, pressed as a person presses them.
#include "integration/ymds_program.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

namespace ymds_tests {

namespace {

/// The lines of a text, without their ends.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        lines.push_back(line.substr(0, line.find('\r')));
    }
    return lines;
}

/// Waits until it is so, at most 60 s.
bool Await(const std::function<bool()>& condition) {
    for (int waited = 0; waited < 60'000 && !condition(); waited += 20) {
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

void Send(INPUT input) {
    EXPECT_EQ(SendInput(1, &input, sizeof input), 1U);
}

/// Presses keys, for the window in front. Each of `noted` is answered by a line of the player.
void Press(const Notes& notes, const std::vector<WORD>& keys, const std::string& noted = "") {
    for (const WORD key : keys) {
        const std::size_t before = notes().size();
        INPUT input{};
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = key;
        input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(key, MAPVK_VK_TO_VSC));
        input.ki.dwFlags = key == VK_LEFT || key == VK_RIGHT ? KEYEVENTF_EXTENDEDKEY : 0;
        Send(input);
        input.ki.dwFlags |= KEYEVENTF_KEYUP;
        Send(input);
        if (noted.find(static_cast<char>(key)) != std::string::npos || key >= VK_OEM_1) {
            EXPECT_TRUE(Await([&] { return notes().size() > before; })) << key;
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
        Send(input);
    }
}

/// The seconds in "clip 0:01.5 to 0:02.5".
std::pair<double, double> ClipOf(const std::string& note) {
    static const std::regex pattern(R"(clip 0:(\d\d\.\d) to 0:(\d\d\.\d))");
    std::smatch match;
    EXPECT_TRUE(std::regex_match(note, match, pattern)) << note;
    return match.empty() ? std::pair(-1.0, -1.0)
                         : std::pair(std::stod(match[1]), std::stod(match[2]));
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
    const std::vector<std::string> notes = Lines(result.err);
    ASSERT_EQ(notes.size(), 12U) << result.err;
    const std::vector<std::string> plain = {"muted", "sound on", "loop on", "loop off"};
    EXPECT_EQ(std::vector(notes.begin(), notes.begin() + 4), plain);
    const auto [start, whole] = ClipOf(notes[4]);
    EXPECT_NEAR(whole, 10, 0.1);
    EXPECT_EQ(notes[5], notes[4]) << "paused";
    const auto [kept, end] = ClipOf(notes[6]);
    EXPECT_NEAR(kept, start, 0.11);
    EXPECT_NEAR(end, std::min(start + 5, 10.0), 0.4);
    EXPECT_TRUE(notes[7].starts_with("stepped")) << notes[7];
    EXPECT_EQ(notes[8], "there is no other audio track");
    ASSERT_TRUE(notes[9].starts_with("saved 10s-snapshot-")) << notes[9];
    EXPECT_EQ(ReadPng(scratch.Path(std::filesystem::path(notes[9].substr(6)).wstring())).width,
              640U);
    EXPECT_EQ(notes[10], "muted") << "a key counts once, wherever it is pressed";
    EXPECT_EQ(notes[11], "sound on");
}

TEST(YmdsKeys, ChangeTheAudioTrack) {
    const Result result =
        RunYmds({L"play", L"test://320x180@25/30s?audio=440,880", L"--window", L"--json"},
                [](const Notes& player) {
                    AwaitWindow();
                    Press(player, {'A', 'A', 'Q'}, "A");
                });
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(Lines(result.err),
              (std::vector<std::string>{"audio track 2 of 2", "audio track 1 of 2"}));
}

} // namespace

} // namespace ymds_tests
