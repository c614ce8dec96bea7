#pragma once

#include <functional>

#include "host/cli/plan.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/run_context.h"
#include "host/core/run/settings_file.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Has the module check the custom parameters of the plan; its refusal is the sentence.
UsageError checkParameters(const Plan& plan, const Catalogue& catalogue, const Texts& texts);

/// Gives the settings to every test. The sentence of the first one that refuses them.
UsageError configureTests(const Catalogue& catalogue, const storage::ConfigurationMap& settings,
                          const std::string& fileName);

/// Runs the tests of the plan, device by device. `session.devices` holds the devices that take
/// part.
/// @param onFinished  called after each run
void runTests(const Plan& plan, const Catalogue& catalogue, const RunServices& services,
              storage::SystemComponentManager& manager, Session& session,
              const std::function<void(const TestRun&)>& onFinished);

/// "MODEL, serial number SERIAL": how a question names a device.
std::string deviceForQuestion(const DeviceInfo& device);

/// Why something that needs an answer did not take place.
std::string refusalNote(Answer answer);

}  // namespace ostria::host
