#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ostria/storage/identifier.h"

namespace ostria::storage {

/// Command-line name of a diagnostic or test.
struct OptionEntry {
  static constexpr std::uint32_t TakesArguments = 0;
  static constexpr std::uint32_t TakesNone = 2;

  std::string shortName;  ///< one letter; unique inside one diagnostic only
  std::string longName;
  std::uint32_t argumentKind = TakesArguments;
};

/// What a module says about itself: texts, and the tables with which the command-line host turns
/// its arguments into diagnostics and tests. All getters return copies; a missing row is an empty
/// text.
class Resource {
 public:
  explicit Resource(const Identifier& id) : identifier_(id) {}
  virtual ~Resource() = default;

  virtual void* moduleContext() { return moduleContext_; }  ///< null in this module
  virtual std::string diagnosticName(const Identifier& id) = 0;
  virtual std::string testName(const Identifier& id) = 0;
  virtual std::string diagnosticTooltip(const Identifier& id) = 0;
  virtual std::string testTooltip(const Identifier& id) = 0;
  virtual std::string getHelpText() { return helpText_; }
  virtual std::string getModuleName() { return moduleName_; }
  virtual std::string getModuleCode() { return moduleCode_; }
  virtual std::map<Identifier, OptionEntry> getTestOptions() { return testOptions_; }
  virtual std::map<Identifier, OptionEntry> getDiagnosticOptions() { return diagnosticOptions_; }
  virtual std::map<int, std::string> getLabelTable() { return labelTable_; }
  virtual void setLabelTable(const std::map<int, std::string>& table) { labelTable_ = table; }

 protected:
  Identifier identifier_;
  std::string helpText_;
  std::string moduleName_;
  std::string moduleCode_;
  std::map<int, std::string> labelTable_;
  std::map<Identifier, OptionEntry> testOptions_;
  std::map<Identifier, OptionEntry> diagnosticOptions_;
  void* moduleContext_ = nullptr;
};

}  // namespace ostria::storage
