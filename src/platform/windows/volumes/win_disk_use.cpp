// Volumes are the only users of a disk that the system shows here; one that is locked for the
// repair can be taken by nobody else, so the claim is made of the locks themselves.
#include <algorithm>

#include "inventory/disk_use.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "platform/windows/volumes/win_volumes.h"
#include "services/sal.h"

namespace ostria::storage {

std::optional<DiskUse> findDiskUse(DeviceHandle disk) {
  const auto number = queryDeviceNumber(disk);
  if (!number) {
    return std::nullopt;
  }
  const std::unique_ptr<DeviceScanner, void (*)(DeviceScanner*)> scanner(get_device_scanner(),
                                                                         &release_device_scanner);
  DiskUse use;
  if (auto roots = rootsOnDisk(*scanner, number->deviceNumber)) {
    use.volumes = std::move(*roots);
  } else {
    use.users.push_back("The volumes of the system could not be listed.");
  }
  return use;
}

// A letter goes with its volume, and an open file keeps that from leaving it.
bool isOnDisk(DeviceHandle, const std::string& mountPoint, DeviceHandle disk) {
  const auto use = findDiskUse(disk);
  return !use || !use->users.empty() ||
         std::find(use->volumes.begin(), use->volumes.end(), mountPoint) != use->volumes.end();
}

std::unique_ptr<DiskClaim> claimDisk(DeviceHandle, const std::vector<DeviceHandle>&, std::string*) {
  return std::make_unique<DiskClaim>();
}

std::unique_ptr<DiskClaim> lockDisk(DeviceHandle) { return std::make_unique<DiskClaim>(); }

}  // namespace ostria::storage
