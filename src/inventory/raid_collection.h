#pragma once

#include <memory>
#include <vector>

#include "inventory/storage_component.h"
#include "services/scanned_handle.h"

namespace ostria::storage {

/// The drives behind the RAID controllers of the machine, and the open controller ports that their
/// protocols go through. The ports stand first, so that they are closed after the components are
/// gone.
struct RaidMembers {
  std::vector<ScannedHandle> ports;
  std::vector<std::unique_ptr<StorageComponent>> components;
};

/// Asks every controller for its drives. What fails is left out.
/// @param scanner  closes the ports; outlives them
RaidMembers collectRaidDevices(DeviceScanner& scanner);

/// Whether any controller has a drive that can be tested.
bool hasRaidDrives();

}  // namespace ostria::storage
