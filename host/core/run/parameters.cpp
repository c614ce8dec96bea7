// Custom parameters and settings as the module takes them. The module itself checks both: the host
// only makes one sentence of what it refuses.
#include "host/core/run/parameters.h"

#include <algorithm>
#include <utility>

#include "host/core/run/settings_file.h"

namespace ostria::host {

using storage::ParameterIssue;
using storage::TestParameter;

std::vector<TestParameter> parametersOf(storage::Test& test,
                                        const std::vector<ParameterText>& written) {
  const std::vector<TestParameter> known = test.parameters();
  std::vector<TestParameter> out;
  for (const ParameterText& pair : written) {
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const TestParameter& row) { return row.key == pair.key; });
    TestParameter parameter;
    if (found != known.end()) {
      parameter = *found;
    }
    parameter.key = pair.key;
    parameter.value = pair.value;
    out.push_back(std::move(parameter));
  }
  return out;
}

UsageError checkParameters(const Selection& selection, const Catalogue& catalogue,
                           const Texts& texts) {
  for (const TestChoice& choice : selection.tests) {
    if (choice.parameters.empty()) {
      continue;
    }
    const CatalogueTest& entry = catalogue.diagnostics[choice.diagnostic].tests[choice.test];
    std::vector<ParameterIssue> issues;
    entry.test->resetParameters();
    if (entry.test->checkParameters(parametersOf(*entry.test, choice.parameters), issues)) {
      continue;
    }
    std::string sentence = texts.text(entry.nameKey);
    bool unknown = false;
    const char* separator = ": ";
    for (const ParameterIssue& issue : issues) {
      if (issue.kind == ParameterIssue::None) {
        continue;
      }
      sentence += std::exchange(separator, "; ") + issue.parameter.key + ": " +
                  texts.message(issue.message);
      unknown = unknown || issue.kind == ParameterIssue::UnknownParameter;
    }
    if (unknown) {
      std::string keys;
      for (const TestParameter& known : entry.test->parameters()) {
        keys += (keys.empty() ? "" : " ") + known.key;
      }
      sentence += " " + texts.say("usage.known_parameters", {{"keys", keys}});
    }
    return {"usage.parameter_refused",
            {{"sentence", sentence + (sentence.back() == '.' ? "" : ".")}}};
  }
  return {};
}

UsageError configureTests(const Catalogue& catalogue, const storage::ConfigurationMap& settings,
                          const std::string& fileName) {
  for (const CatalogueDiagnostic& diagnostic : catalogue.diagnostics) {
    for (const CatalogueTest& entry : diagnostic.tests) {
      storage::ConfigurationError error;
      if (!entry.test->configure(settings, &error)) {
        return refusedSetting(error, fileName);
      }
    }
  }
  return {};
}

}  // namespace ostria::host
