#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostria/storage/tool.h"
#include "tools/recover_bad_sectors_operation.h"
#include "tools/recover_run_log.h"

namespace ostria::storage {

/// Finds bad sectors ("scan"), rewrites them ("repair") or checks file systems ("filesystem") on
/// the chosen devices, and reports each step to the host. "filterDevices" only asks which of the
/// devices can be treated.
class RecoverBadSectors : public Tool {
 public:
  explicit RecoverBadSectors(const Identifier& id = Identifier(50, 0, 0));
  ~RecoverBadSectors() override;

  void run() override;
  std::string getNameKey() override { return "RECOVER_BAD_SECTORS"; }
  std::string getDescriptionKey() override {
    return "SEARCH_FOR_AND_RECOVER_BAD_SECTORS_THAT_MAY_BE_PRESENT_IN_YOUR_STORAGE_DEVICES";
  }
  std::string getCommandName() override { return "recover"; }
  bool isApplicable(SystemComponent* component) override;

  const RecoverRunLog& runLog() const { return *runLog_; }

 private:
  /// @param isOpen  whether the host was given the beginning of the run and not its end
  void runOperation(bool& isOpen);
  void filterDevices();
  void buildDeviceItems();
  void treatPartitions(const RecoverDeviceItem& item);
  void treatDevice(const RecoverDeviceItem& item);
  ToolStatus askAndSchedule(const std::string& volumePath, std::string& notice);
  ToolStatus executeGuarded(const RecoverDeviceItem& item, std::uint32_t partitionIndex);
  ToolStatus repairOffline(StorageComponent& component, const RecoverDeviceItem& item);
  void storeStatistics();

  std::map<std::string, std::unique_ptr<RecoverBadSectorsOperation>> operations_;
  RecoverBadSectorsOperation* currentOperation_ = nullptr;
  std::unique_ptr<RecoverRunLog> runLog_;
  std::unique_ptr<AbortContext> abortContext_;
  std::string operationName_;
  std::vector<std::string> values_;
  std::vector<RecoverDeviceItem> deviceItems_;
  std::vector<std::string> messages_;  ///< "Message" of the current device
  bool executed_ = false;              ///< the operation ran on the current device
  bool running_ = false;
};

}  // namespace ostria::storage
