#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ymds {

struct PlayOptions {
    std::wstring file;
    std::wstring scheme;
    std::wstring snapshot;
    std::wstring log;
    double seconds = 0; ///< 0 plays to the end
    bool json = false;
    bool window = false;
    bool loop = false;
    bool noProgress = false;
    bool noSnapshot = false;
    bool verbose = false;
};

struct InfoOptions {
    std::wstring file;
    std::wstring scheme;
    bool json = false;
};

struct SchemeCheckOptions {
    std::wstring script;
};

enum class Command { Play, Info, SchemeCheck };

struct CommandLine {
    Command command = Command::Play;
    PlayOptions play;
    InfoOptions info;
    SchemeCheckOptions schemeCheck;
};

constexpr int kExitPlayed = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

/// Fills `line`. A value is the exit status of a program that has nothing more to do,
/// because help was asked for or the usage was wrong; the text has been printed then.
std::optional<int> Parse(const std::vector<std::wstring>& arguments, CommandLine& line);

} // namespace ymds
