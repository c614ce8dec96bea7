// Runs one of the module's tools, device by device, and collects what its events report.
#pragma once

#include <functional>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/results.h"
#include "host/core/run/run_services.h"
#include "host/core/run/selection.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Runs the tool of the selection on the devices of `session.devices`. Devices that it cannot treat
/// are listed as not performed when they were named, and left out otherwise.
/// @param onFinished  called after each device
void runTool(const Selection& selection, const Catalogue& catalogue, const RunServices& services,
             storage::SystemComponentManager& manager, Session& session,
             const std::function<void(const ToolRun&)>& onFinished);

}  // namespace ostria::host
