#pragma once

#include "CommandLine.h"

namespace ymds {

/// `ymds info`: the exit status.
int Info(const InfoOptions& options);

} // namespace ymds
