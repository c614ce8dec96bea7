#pragma once

#include <map>
#include <string>

#include "ostria/storage/resource.h"

namespace ostria::storage {

/// The module's description of itself: message keys of diagnostics and tests, their command-line
/// names and the help text. Fixed at construction, apart from the label table.
class StorageResource final : public Resource {
 public:
  explicit StorageResource(const Identifier& id);

  std::string diagnosticName(const Identifier& id) override;
  std::string testName(const Identifier& id) override;
  std::string diagnosticTooltip(const Identifier& id) override;
  std::string testTooltip(const Identifier& id) override;

 private:
  std::map<Identifier, std::string> diagnosticNames_;
  std::map<Identifier, std::string> testNames_;
  std::map<Identifier, std::string> diagnosticTooltips_;
  std::map<Identifier, std::string> testTooltips_;
};

}  // namespace ostria::storage
