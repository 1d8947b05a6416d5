#include <windows.h>

#include <objbase.h>

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Console.h"
#include "Info.h"
#include "Play.h"
#include "SchemeCheck.h"

namespace {

int Run(const std::vector<std::wstring>& arguments) {
    ymds::CommandLine line;
    if (const auto code = ymds::Parse(arguments, line)) {
        return *code;
    }
    switch (line.command) {
    case ymds::Command::Info:
        return ymds::Info(line.info);
    case ymds::Command::SchemeCheck:
        return ymds::SchemeCheck(line.schemeCheck);
    case ymds::Command::Play:
        break;
    }
    return ymds::Play(line.play);
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    // No dialog for a missing drive or DLL: the result says it.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        ymds::Complain(L"COM cannot be initialised");
        return ymds::kExitFailed;
    }
    const int code = Run({argv + 1, argv + argc});
    CoUninitialize();
    return code;
}
