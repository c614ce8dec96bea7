// What the status codes of the tool "recover" mean.
#pragma once

#include <string>

#include "host/core/model/outcome.h"
#include "host/core/model/results.h"

namespace ostria::host {

/// What a status code means for the exit code; an unknown one is `CouldNotStart`.
/// @param filesystem  the code is that of a check of a file system
ExitCode outcomeOfStatus(int status, bool filesystem);

/// Key of the status in words; never null.
const char* statusKey(int status, bool filesystem);
/// The same for a tool on a whole device; empty when it has no status.
std::string statusKey(const ToolRun& run);

}  // namespace ostria::host
