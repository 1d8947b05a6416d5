// The player's window and its keys, pressed as a person presses them.
#include "integration/ymds_program.h"

#include <windows.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

namespace ymds_tests {

namespace {

struct Search {
    DWORD process;
    HWND found;
};

/// The visible window of a process's player, once it is there.
HWND AwaitWindow(DWORD process) {
    Search search{process, nullptr};
    for (int tries = 0; tries < 200 && search.found == nullptr; ++tries) {
        Sleep(50);
        EnumWindows(
            [](HWND window, LPARAM user) -> BOOL {
                auto& wanted = *reinterpret_cast<Search*>(user);
                wchar_t name[64] = {};
                DWORD owner = 0;
                GetWindowThreadProcessId(window, &owner);
                GetClassNameW(window, name, 64);
                if (owner == wanted.process && IsWindowVisible(window) != FALSE &&
                    std::wstring(name) == L"YmdsPlayWindow") {
                    wanted.found = window;
                }
                return wanted.found == nullptr;
            },
            reinterpret_cast<LPARAM>(&search));
    }
    return search.found;
}

/// Presses and releases a key of the keyboard, for the window in front.
void Press(WORD key) {
    for (const DWORD up : {DWORD{0}, DWORD{KEYEVENTF_KEYUP}}) {
        INPUT input{};
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = key;
        input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(key, MAPVK_VK_TO_VSC));
        input.ki.dwFlags = up | (key == VK_LEFT || key == VK_RIGHT ? KEYEVENTF_EXTENDEDKEY : 0);
        EXPECT_EQ(SendInput(1, &input, sizeof input), 1U);
        Sleep(30);
    }
    Sleep(300); // a seek takes its time
}

void Press(const std::vector<WORD>& keys) {
    for (const WORD key : keys) {
        Press(key);
    }
}

/// Clicks into the middle of a window.
void Click(HWND window) {
    RECT area{};
    GetWindowRect(window, &area);
    SetCursorPos((area.left + area.right) / 2, (area.top + area.bottom) / 2);
    for (const DWORD flag : {MOUSEEVENTF_LEFTDOWN, MOUSEEVENTF_LEFTUP}) {
        INPUT input{};
        input.type = INPUT_MOUSE;
        input.mi.dwFlags = flag;
        EXPECT_EQ(SendInput(1, &input, sizeof input), 1U);
        Sleep(30);
    }
}

/// The lines that the player wrote about its keys.
std::vector<std::string> Notes(const Result& result) {
    std::vector<std::string> lines;
    std::istringstream all(result.err);
    for (std::string line; std::getline(all, line);) {
        line.erase(line.find_last_not_of("\r") + 1);
        lines.push_back(line);
    }
    return lines;
}

/// The seconds in "clip 0:01.5 to 0:02.5".
std::pair<double, double> ClipOf(const std::string& note) {
    static const std::regex pattern(R"(clip 0:(\d\d\.\d) to 0:(\d\d\.\d))");
    std::smatch match;
    EXPECT_TRUE(std::regex_match(note, match, pattern)) << note;
    return match.empty() ? std::pair(-1.0, -1.0)
                         : std::pair(std::stod(match[1]), std::stod(match[2]));
}

constexpr WORD kDot = VK_OEM_PERIOD;
constexpr WORD kOpen = VK_OEM_4;
constexpr WORD kClose = VK_OEM_6;

TEST(YmdsKeys, DriveThePlayerFromItsWindow) {
    const Scratch scratch;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(scratch.Path(L"")); // where pictures are saved
    long clientWidth = 0;
    const Result result = RunYmds(
        {L"play", Media(L"sample.mp4"), L"--window", L"--json", L"--no-snapshot"},
        [&](DWORD process) {
            const HWND window = AwaitWindow(process);
            RECT client{};
            GetClientRect(window, &client);
            clientWidth = client.right;
            Sleep(300);
            Press({VK_SPACE, 'M', 'M', 'L', 'L', kOpen, VK_RIGHT, kClose, VK_LEFT, kDot, 'A', 'S'});
            Click(window); // the picture now has the keyboard
            Press({'M', 'M', 'Q'});
        });
    std::filesystem::current_path(before);
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(clientWidth, 640);
    EXPECT_EQ(result.Json()["end"], "quit");
    EXPECT_LT(result.Json()["played_ms"].asInt(), 2500) << "paused";
    const std::vector<std::string> notes = Notes(result);
    ASSERT_EQ(notes.size(), 11U) << result.err;
    const std::vector<std::string> plain = {"muted", "sound on", "loop on", "loop off"};
    EXPECT_EQ(std::vector(notes.begin(), notes.begin() + 4), plain);
    const auto [start, whole] = ClipOf(notes[4]);
    EXPECT_LT(start, 2.5);
    EXPECT_NEAR(whole, 10, 0.1);
    const auto [kept, end] = ClipOf(notes[5]);
    EXPECT_NEAR(kept, start, 0.11);
    EXPECT_NEAR(end, start + 5, 0.4);
    EXPECT_TRUE(notes[6].starts_with("stepped")) << notes[6];
    EXPECT_EQ(notes[7], "there is no other audio track");
    EXPECT_TRUE(notes[8].starts_with("saved sample-snapshot-")) << notes[8];
    const Image picture =
        ReadPng(scratch.Path(std::filesystem::path(notes[8].substr(6)).wstring()));
    EXPECT_EQ(picture.width, 640U);
    EXPECT_EQ(notes[9], "muted") << "a key counts once, wherever it is pressed";
    EXPECT_EQ(notes[10], "sound on");
}

TEST(YmdsKeys, ChangeTheAudioTrack) {
    const Result result = RunYmds({L"play", Media(L"clip.mkv"), L"--window", L"--json", L"--loop"},
                                  [&](DWORD process) {
                                      AwaitWindow(process);
                                      Press({'A', 'A', 'Q'});
                                  });
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(Notes(result),
              (std::vector<std::string>{"audio track 2 of 2", "audio track 1 of 2"}));
}

} // namespace

} // namespace ymds_tests
