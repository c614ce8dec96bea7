#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage {

/// What uses a disk at this moment, looked up anew at every call.
struct DiskUse {
  /// Root paths of the volumes mounted on the disk, in the order in which they can go off line.
  std::vector<std::string> volumes;
  /// What cannot be taken off line, one text for a person each: "swap on /dev/sda2".
  std::vector<std::string> users;
};

/// Keeps everybody else from mounting or claiming a disk, for as long as it lives.
class DiskClaim {
 public:
  DiskClaim() = default;
  virtual ~DiskClaim() = default;
  DiskClaim(const DiskClaim&) = delete;
  DiskClaim& operator=(const DiskClaim&) = delete;
};

/// @param disk  the open device
/// @return nothing when the system does not know the device (any more)
std::optional<DiskUse> findDiskUse(DeviceHandle disk);

/// Whether a file lies on a disk, asked of the system anew: another volume may have come to the
/// same root path.
/// @param mountPoint  root path that the file was opened below
/// @return true where the system cannot tell
bool isOnDisk(DeviceHandle file, const std::string& mountPoint, DeviceHandle disk);

/// Claims a disk whose volumes are off line. A second claim of the same disk is refused.
/// @param held  the volumes that were taken off line; they stay the caller's
/// @param user  set to what stands in the way when there is no claim
/// @return null when somebody else has a claim on the disk or on a part of it
std::unique_ptr<DiskClaim> claimDisk(DeviceHandle disk, const std::vector<DeviceHandle>& held,
                                     std::string* user);

/// Keeps other repairs away from a disk whose volumes stay mounted, where the system has a way to.
/// @return null when another repair, or another program, has the disk locked
std::unique_ptr<DiskClaim> lockDisk(DeviceHandle disk);

}  // namespace ostria::storage
