// Gives the module the custom parameters of tests, and the settings of a configuration file.
#pragma once

#include <string>
#include <vector>

#include "host/core/model/module_catalogue.h"
#include "host/core/run/selection.h"
#include "host/core/texts/texts.h"
#include "host/core/user_error.h"
#include "ostria/storage/configuration.h"

namespace ostria::host {

/// The written parameters as records of the test's own; a key that it does not know is kept, so
/// that the test can refuse it.
std::vector<storage::TestParameter> parametersOf(storage::Test& test,
                                                 const std::vector<ParameterText>& written);

/// Has the module check the custom parameters of the selection; its refusal is the sentence.
UsageError checkParameters(const Selection& selection, const Catalogue& catalogue,
                           const Texts& texts);

/// Gives the settings to every test. The sentence of the first one that refuses them.
UsageError configureTests(const Catalogue& catalogue, const storage::ConfigurationMap& settings,
                          const std::string& fileName);

}  // namespace ostria::host
