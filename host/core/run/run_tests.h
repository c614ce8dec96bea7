// Runs tests and collects their results.
#pragma once

#include <functional>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/results.h"
#include "host/core/run/run_services.h"
#include "host/core/run/selection.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Runs the tests of the selection, device by device. `session.devices` holds the devices that take
/// part.
/// @param onFinished  called after each run
void runTests(const Selection& selection, const Catalogue& catalogue, const RunServices& services,
              storage::SystemComponentManager& manager, Session& session,
              const std::function<void(const TestRun&)>& onFinished);

}  // namespace ostria::host
