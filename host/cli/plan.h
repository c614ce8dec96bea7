#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/cli/chosen_tests.h"
#include "host/cli/command_line.h"
#include "host/core/model/module_catalogue.h"

namespace ostria::host {

enum class Action { Help, Version, List, Show, RunTests, RunTool, History };

struct TestChoice {
  std::size_t diagnostic = 0;  ///< index in the catalogue
  std::size_t test = 0;        ///< index in the diagnostic
  bool named = false;          ///< chosen by its own name, not with its whole diagnostic
  std::vector<ParameterText> parameters;
};

/// What is to be done, checked against everything but the number of devices.
struct Plan {
  Action action = Action::List;
  std::vector<TestChoice> tests;
  std::size_t tool = 0;                ///< index in the catalogue
  std::string operation;               ///< of the tool "recover"
  std::vector<std::uint32_t> devices;  ///< empty: all
};

/// Nothing but the arguments and the module's tables decides.
OrUsageError<Plan> makePlan(const CommandLine& line, const Catalogue& catalogue);

/// Checks the device numbers; an empty sentence when all are there.
UsageError checkDevices(const Plan& plan, std::uint32_t deviceCount);

}  // namespace ostria::host
