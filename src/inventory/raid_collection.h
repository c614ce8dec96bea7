#pragma once

#include <memory>
#include <vector>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// The drives behind the RAID controllers of the machine, and the open controller ports that their
/// protocols go through. The caller closes the ports after the components are gone.
struct RaidMembers {
  std::vector<DeviceHandle> ports;
  std::vector<std::unique_ptr<StorageComponent>> components;
};

/// Asks every controller for its drives. What fails is left out.
RaidMembers collectRaidDevices();

/// Whether any controller has a drive that can be tested.
bool hasRaidDrives();

}  // namespace ostria::storage
