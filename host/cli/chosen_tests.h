// Reads a list of tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/run/selection.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// One entry of a list of tests: "m", "smart-status" or "l(START_RANGE=0,STOP_RANGE=100)".
struct TestListEntry {
  std::string name;
  bool hasBrackets = false;
  std::vector<ParameterText> parameters;
};

/// Reads a comma-separated list of tests. Blanks around names, keys and values do not count.
OrUsageError<std::vector<TestListEntry>> readTestList(std::string_view text);

}  // namespace ostria::host
