#pragma once

#include <cstddef>
#include <string>

#include "CommandLine.h"

namespace ymds {

/// `ymds scheme check`: the exit status.
int SchemeCheck(const SchemeCheckOptions& options);

/// "script.json:3:14"; the script alone for line 0.
std::wstring ScriptPlace(const std::wstring& script, std::size_t line, std::size_t column);

} // namespace ymds
