#pragma once

#include "CommandLine.h"

namespace ymds {

/// `ymds scheme check`: the exit status.
int SchemeCheck(const SchemeCheckOptions& options);

} // namespace ymds
