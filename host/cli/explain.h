// What a test, a tool or a setting is, for people who choose one.
#pragma once

#include <string>
#include <vector>

#include "host/core/model/module_catalogue.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// Everything about the tests, tools or settings that each word can mean: a test's letter or long
/// name, a tool or its operation, "settings", or "tests" for all tests.
OrUsageError<std::string> explain(const std::vector<std::string>& words, const Catalogue& catalogue,
                                  const Texts& texts);

}  // namespace ostria::host
