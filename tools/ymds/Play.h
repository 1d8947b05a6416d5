#pragma once

#include "CommandLine.h"

namespace ymds {

/// `ymds play`: the exit status.
int Play(const PlayOptions& options);

} // namespace ymds
