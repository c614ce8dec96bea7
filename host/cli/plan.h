// From arguments to a plan.
#pragma once

#include <cstdint>

#include "host/cli/command_line.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/resolve_devices.h"
#include "host/core/run/selection.h"

namespace ostria::host {

enum class Action { Help, Version, List, Show, RunTests, RunTool, Capture, History, Compare };

/// What is to be done, checked against everything but the devices.
struct Plan {
  Action action = Action::List;
  Selection selection;
  bool writes = false;        ///< a test of it writes to the volumes
  bool leavesAsleep = false;  ///< it looks at drives only, sleeping ones excepted
  /// OwnOnly: it changes a drive, and nobody looks at the question. Simulated drives stay where
  /// they are.
  NamesTaken namesTaken = NamesTaken::All;

  /// Whether an operation of it takes volumes off line.
  bool changesVolumes() const {
    return selection.operation == "repair" || selection.operation == "filesystem";
  }
};

/// Nothing but the arguments and the module's tables decides.
OrUsageError<Plan> makePlan(const CommandLine& line, const Catalogue& catalogue);

}  // namespace ostria::host
