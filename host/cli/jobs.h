// Several drives tested at the same time, each by a process of its own: the module runs one test at
// a time.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/cli/plan.h"
#include "host/core/run/run_services.h"
#include "host/core/run/session_setup.h"
#include "host/core/run/settings.h"
#include "host/platform/children.h"

namespace ostria::host {

/// What the runs of all drives have in common.
struct JobRun {
  const CommandLine& line;
  const Plan& plan;
  const Catalogue& catalogue;
  const RunServices& services;
  storage::SystemComponentManager& manager;
  std::optional<std::string> routine;  ///< of a settings file, which the user has allowed
  FindDeviceNames names;               ///< of a drive, by the module's id
  std::function<void(const std::string&)> onErrorLine;  ///< a line of progress of one of them
  std::function<void(const TestRun&)> onFinished;       ///< all of a drive, one after the other
};

/// Tests the drives of the session as `runTests` does, at most `line.jobs` at a time. Those that
/// hang on one controller are tested one after the other. The results stand in the order of the
/// drives.
void runJobs(const JobRun& run, Children& children, Session& session);

}  // namespace ostria::host
