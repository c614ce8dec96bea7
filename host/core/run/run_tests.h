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

/// The end of a run of tests: notices of tests that were asked for by name and that no drive
/// offers, and of those that did not begin.
/// @param supported  of each test of the selection, whether a drive offers it
void noteWhatDidNotRun(const Selection& selection, const Catalogue& catalogue, const Texts& texts,
                       const std::vector<bool>& supported, Session& session);

}  // namespace ostria::host
