#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "inventory/device_record.h"
#include "inventory/driver_version.h"
#include "inventory/storage_component.h"
#include "inventory/storage_scanner.h"
#include "ostria/storage/system_component_manager.h"
#include "services/driver_service_holder.h"

namespace ostria::storage {

/// The inventory of the module: decides what counts as a storage device, finds for each the
/// protocol and bridges that really reach it, and owns the components. Each direct device keeps its
/// handle open from its scan until the next scan or the manager's end. No failure of one device
/// stops a scan.
class StorageComponentManager : public SystemComponentManager {
 public:
  explicit StorageComponentManager(const Identifier& id);
  ~StorageComponentManager() override;
  StorageComponentManager(const StorageComponentManager&) = delete;
  StorageComponentManager& operator=(const StorageComponentManager&) = delete;

  bool hasDevices() override;
  SystemComponent* refreshComponent(std::uint32_t index) override;
  void scan() override { scanFor({}); }
  void scanFor(const ScanDemand& demand) override;
  std::vector<LeftOutDevice> leftOutDevices() override { return leftOut_; }

 private:
  /// @param reason  set to a `LeftOutDevice::Reason` when the device is to be named with it
  std::optional<DeviceRecord> openDevice(std::uint32_t number, const std::string& path,
                                         std::uint32_t* reason);
  std::unique_ptr<StorageComponent> findDevice(std::uint32_t number,
                                               const std::vector<std::string>& paths,
                                               DriverVersions* drivers, std::uint32_t* reason);
  void leaveOut(std::uint32_t number, std::uint32_t reason);
  void locateController(std::uint32_t number, StorageComponent& component);
  /// @return false when it ended early
  bool scanDirectDevices(const ScanDemand& demand);
  bool hasAll(const ScanDemand& demand) const;
  void mergeRaidMembers();
  /// Whether a RAID member is one of the direct devices, which come first in the list, or has the
  /// serial number of another member.
  bool isListed(StorageComponent& member, std::size_t directDevices) const;
  void makeIdentifiersUnique();
  /// A drive that is found through its controller is not missing.
  void forgetLeftOutMembers();
  void clear();

  DriverServiceHolder driverService_;
  std::unique_ptr<StorageScanner> scanner_;
  std::vector<LeftOutDevice> leftOut_;
  std::vector<ScannedHandle> ports_;  ///< controller ports that protocols go through
};

}  // namespace ostria::storage
