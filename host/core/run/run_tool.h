#pragma once

#include <functional>

#include "host/cli/plan.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/run_context.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Runs the tool of the plan on the devices of `session.devices`. Devices that it cannot treat are
/// listed as not performed when they were named, and left out otherwise.
/// @param onFinished  called after each device
void runTool(const Plan& plan, const Catalogue& catalogue, const RunServices& services,
             storage::SystemComponentManager& manager, Session& session,
             const std::function<void(const ToolRun&)>& onFinished);

/// What a status code of the tool "recover" means for the exit code.
/// @param filesystem  the code is that of a check of a file system
ExitCode outcomeOfStatus(int status, bool filesystem);
const char* statusText(int status, bool filesystem);

/// Whether a volume mounted there cannot be checked while the system runs.
bool holdsRunningSystem(const std::string& mountPoint);

}  // namespace ostria::host
