// Copies the tables of a module. The names on the command line are the module's own, so a new test
// needs nothing here.
#include "host/core/model/module_catalogue.h"

namespace ostria::host {

using storage::Identifier;
using storage::OptionEntry;

Catalogue readCatalogue(storage::ModuleInterface& module) {
  Catalogue catalogue;
  storage::Resource* resource = module.resource();
  if (resource == nullptr) {
    return catalogue;
  }
  catalogue.moduleName = resource->getModuleName();
  const auto testOptions = resource->getTestOptions();
  const auto diagnosticOptions = resource->getDiagnosticOptions();

  for (std::uint32_t d = 0; d < module.diagnosticCount(); ++d) {
    storage::Diagnostic* diagnostic = module.diagnostic(d);
    if (diagnostic == nullptr) {
      continue;
    }
    CatalogueDiagnostic row;
    row.id = diagnostic->identifier();
    row.nameKey = resource->diagnosticName(row.id);
    if (const auto found = diagnosticOptions.find(row.id); found != diagnosticOptions.end()) {
      row.shortName = found->second.shortName;
      row.longName = found->second.longName;
    }
    for (std::uint32_t t = 0; t < diagnostic->testCount(); ++t) {
      storage::Test* test = diagnostic->test(t);
      if (test == nullptr) {
        continue;
      }
      CatalogueTest entry;
      entry.id = test->identifier();
      entry.nameKey = resource->testName(entry.id);
      entry.test = test;
      if (const auto found = testOptions.find(entry.id); found != testOptions.end()) {
        entry.shortName = found->second.shortName;
        entry.longName = found->second.longName;
        entry.takesParameters = found->second.argumentKind == OptionEntry::TakesArguments;
      }
      row.tests.push_back(std::move(entry));
    }
    catalogue.diagnostics.push_back(std::move(row));
  }
  for (std::uint32_t t = 0; t < module.toolCount(); ++t) {
    if (storage::Tool* tool = module.tool(t)) {
      catalogue.tools.push_back({tool->getCommandName(), tool->getNameKey(), tool});
    }
  }
  return catalogue;
}

std::string identifierText(const Identifier& id) {
  return std::to_string(id.module) + "." + std::to_string(id.category) + "." +
         std::to_string(id.item);
}

}  // namespace ostria::host
