#pragma once

#include <memory>
#include <vector>

#include "ostria/storage/system_component_manager.h"
#include "raid/raid_component.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// Finds the RAID controllers of the machine. Made for one inventory pass; the protocols that its
/// components make outlive it, and with them the controller ports that they go through: a caller
/// that keeps protocols takes the ports over with `takePorts`.
class RaidComponentManager : public SystemComponentManager {
 public:
  explicit RaidComponentManager(const Identifier& id);
  ~RaidComponentManager() override;
  RaidComponentManager(const RaidComponentManager&) = delete;
  RaidComponentManager& operator=(const RaidComponentManager&) = delete;

  /// Whether there is any controller.
  bool hasDevices() override;
  SystemComponent* refreshComponent(std::uint32_t /*index*/) override { return nullptr; }
  void scan() override;

  RaidComponent* raidComponent(std::uint32_t index);
  /// The open ports of the listed controllers; the caller closes them through a device scanner.
  std::vector<DeviceHandle> takePorts();
  std::size_t portCount() const { return ports_.size(); }

 private:
  void scanLsi();
  void scanCsmi();
  void clear();

  DeviceScanner* scanner_;
  std::vector<DeviceHandle> ports_;
};

}  // namespace ostria::storage
