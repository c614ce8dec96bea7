#pragma once

#include <string>
#include <vector>

#include "ostria/storage/tool.h"

namespace ostria::storage {

/// Hands the host the SMART report, the vendor log page report and the protocol name of each
/// chosen device.
class SmartTool : public Tool {
 public:
  explicit SmartTool(const Identifier& id = Identifier(1, 0, 50)) : Tool(id) {}

  void run() override;
  std::string getNameKey() override { return "SMART_TOOL"; }
  std::string getDescriptionKey() override {
    return "RETRIEVES_SMART_ATTRIBUTES_OF_STORAGE_DEVICES";
  }
  std::string getCommandName() override { return "smart"; }
  bool isApplicable(SystemComponent* component) override;

 private:
  /// @param finished  the event of the end
  /// @param isOpen    whether the host was given the beginning of the run and not its end
  void report(std::string& finished, bool& isOpen);
  void reportDevice(SystemComponent& component);

  std::vector<std::string> values_;
};

}  // namespace ostria::storage
