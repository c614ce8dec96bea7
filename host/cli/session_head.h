#pragma once

#include <string>

#include "host/cli/command_line.h"
#include "host/core/model/results.h"

namespace ostria::host {

/// Writes into a new session when it began, where, and by which versions.
void beginSession(const CommandLine& line, const std::string& programVersion,
                  const std::string& moduleVersion, const Texts& texts, Session& session);

}  // namespace ostria::host
