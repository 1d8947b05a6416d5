#include "CommandLine.h"

#include <cstdlib>
#include <sstream>
#include <string>

#include <CLI/CLI.hpp>

#include "Console.h"
#include "Keys.h"
#include <ymdshow/Text.h>

namespace ymds {

namespace {

/// Lets CLI11, which knows narrow text only, fill a wide string.
CLI::Option* AddText(CLI::App& app, const std::string& name, std::wstring& target,
                     const std::string& description) {
    return app.add_option_function<std::string>(
        name, [&target](const std::string& value) { target = ymdshow::Utf8ToWide(value); },
        description);
}

/// The file that a wrapper of the program has ready for a user who names none.
std::wstring SampleFile() {
    const wchar_t* const name = _wgetenv(L"YMDS_SAMPLE");
    return name != nullptr ? name : L"";
}

void AddScheme(CLI::App& app, std::wstring& target) {
    AddText(app, "--scheme", target,
            "Which filters play: a script of schemes\\, or a script's path; none: the system's own")
        ->type_name("NAME|FILE|none");
}

void DefinePlay(CLI::App& app, PlayOptions& options) {
    options.file = SampleFile();
    if (options.file.empty()) {
        AddText(app, "FILE", options.file, "File or URL to play")->required();
    } else {
        AddText(app, "FILE", options.file, "File or URL to play; a sample clip without it");
    }
    app.add_flag("--json", options.json, "Print the report as one JSON object");
    app.add_option("--seconds", options.seconds, "Stop after this many seconds of playing")
        ->check(CLI::Range(0.001, 1e9))
        ->type_name("N");
    app.add_flag("--window", options.window, "Draw the picture into a window");
    app.add_flag("--loop", options.loop, "Start again at the end");
    AddScheme(app, options.scheme);
    AddText(app, "--snapshot", options.snapshot,
            "Where to save the picture of the playback; NAME-snapshot.png without it")
        ->type_name("PNG");
    app.add_flag("--no-snapshot", options.noSnapshot, "Save no picture");
    app.add_flag("--no-progress", options.noProgress, "Show no progress bar");
    AddText(app, "--log", options.log, "Append the library's log records to a file")
        ->type_name("FILE");
    app.add_flag("-v,--verbose", options.verbose, "Show the library's log records");
    app.footer(kKeyHelp);
}

int PrintMessage(const CLI::App& app, const CLI::Error& error) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = app.exit(error, out, err);
    Out().Write(ymdshow::Utf8ToWide(out.str()));
    Err().Write(ymdshow::Utf8ToWide(err.str()));
    return code == 0 ? kExitPlayed : kExitUsage;
}

} // namespace

std::optional<int> Parse(const std::vector<std::wstring>& arguments, CommandLine& line) {
    CLI::App app("Plays media files through the playback library", "ymds");
    app.set_version_flag("--version", YMDS_VERSION);
    app.require_subcommand(1);

    CLI::App* play = app.add_subcommand("play", "Play a file and report what was played");
    DefinePlay(*play, line.play);

    CLI::App* info = app.add_subcommand("info", "Show what is known about a file");
    AddText(*info, "FILE", line.info.file, "File or URL to look at")->required();
    info->add_flag("--json", line.info.json, "Print one JSON object");
    AddScheme(*info, line.info.scheme);

    CLI::App* scheme = app.add_subcommand("scheme", "Work with scheme scripts");
    scheme->require_subcommand(1);
    CLI::App* check = scheme->add_subcommand("check", "Show what a scheme script defines");
    AddText(*check, "SCRIPT", line.schemeCheck.script, "Scheme script")->required();

    // CLI11 takes the arguments without the program's name, last one first.
    std::vector<std::string> reversed;
    for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument) {
        reversed.push_back(ymdshow::WideToUtf8(*argument));
    }
    try {
        app.parse(reversed);
    } catch (const CLI::Error& error) {
        return PrintMessage(app, error);
    }
    line.command = play->parsed()   ? Command::Play
                   : info->parsed() ? Command::Info
                                    : Command::SchemeCheck;
    return std::nullopt;
}

} // namespace ymds
