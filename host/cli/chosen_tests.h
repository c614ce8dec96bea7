// Reads a list of tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/core/model/module_catalogue.h"
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

/// Whether the module's help calls the test so although its table has another name. The help prints
/// the seek tests of both diagnostics by one name ("random-seek"), the table has a longer one for
/// the second ("extended-random_seek-test"): a test is also known by the name of the test of the
/// same letter in another diagnostic, if its own name holds that.
bool isNamedAsInHelp(const Catalogue& catalogue, const CatalogueTest& test, std::string_view name);

}  // namespace ostria::host
