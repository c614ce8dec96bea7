// The resource answers from maps that are filled once from the rows of the catalogue: the host asks
// by identifier, in any order.
#include "module/storage_resource.h"

#include "module/storage_help_text.h"
#include "module/test_catalogue.h"

namespace ostria::storage {
namespace {

std::string lookUp(const std::map<Identifier, std::string>& table, const Identifier& id) {
  const auto row = table.find(id);
  return row == table.end() ? std::string() : row->second;
}

void fill(const ResourceRow& row, std::map<Identifier, std::string>& names,
          std::map<Identifier, std::string>& tooltips, std::map<Identifier, OptionEntry>& options) {
  names.emplace(row.id, row.displayKey);
  tooltips.emplace(row.id, row.tooltipKey);
  // A row without a letter has no name on the command line.
  if (*row.shortName != '\0') {
    options.emplace(row.id, OptionEntry{row.shortName, row.longName, row.argumentKind});
  }
}

}  // namespace

StorageResource::StorageResource(const Identifier& id) : Resource(id) {
  helpText_ = storageHelpText();
  moduleName_ = "STORAGE";
  moduleCode_ = "HD";
  for (const ResourceRow& row : diagnosticRows()) {
    fill(row, diagnosticNames_, diagnosticTooltips_, diagnosticOptions_);
  }
  for (const TestRow& row : testRows()) {
    fill(row.resource, testNames_, testTooltips_, testOptions_);
  }
}

std::string StorageResource::diagnosticName(const Identifier& id) {
  return lookUp(diagnosticNames_, id);
}

std::string StorageResource::testName(const Identifier& id) { return lookUp(testNames_, id); }

std::string StorageResource::diagnosticTooltip(const Identifier& id) {
  return lookUp(diagnosticTooltips_, id);
}

std::string StorageResource::testTooltip(const Identifier& id) { return lookUp(testTooltips_, id); }

}  // namespace ostria::storage
