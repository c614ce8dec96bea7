// How much of the machine a command looks at.
#pragma once

#include "host/cli/command_line.h"
#include "host/cli/plan.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// What the search for devices is to bring.
/// @param suspended  whether a disk of the machine is
storage::ScanDemand demandOf(const CommandLine& line, const Plan& plan, bool suspended);

}  // namespace ostria::host
