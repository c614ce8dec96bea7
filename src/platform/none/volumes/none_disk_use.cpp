// Without a way to see who uses a disk, nobody may claim one: a repair refuses then.
#include "inventory/disk_use.h"

namespace ostria::storage {

std::optional<DiskUse> findDiskUse(DeviceHandle) { return std::nullopt; }

bool isOnDisk(DeviceHandle, const std::string&, DeviceHandle) { return true; }

std::unique_ptr<DiskClaim> claimDisk(DeviceHandle, const std::vector<DeviceHandle>&,
                                     std::string* user) {
  *user = "claims of disks are not supported here";
  return nullptr;
}

std::unique_ptr<DiskClaim> lockDisk(DeviceHandle) { return nullptr; }

}  // namespace ostria::storage
