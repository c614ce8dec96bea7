#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inventory/disk_use.h"

namespace ostria::storage {

/// The uses of the disk with this number, as /sys and /proc below a root folder show them.
/// @param number  the kernel's dev_t of the whole disk
/// @param root    folder that stands for "/", for a saved tree
/// @return nothing when there is no such disk
std::optional<DiskUse> findDiskUse(std::uint32_t number, const std::string& root);

/// Whether what is mounted from the device with this dev_t lies on the disk.
/// @param root  see above
bool isMountOfDisk(std::uint32_t device, std::uint32_t disk, const std::string& root);

/// Whether a node is the disk, a partition of it, or built above one of these; of a file system on
/// several devices, whether one of its devices is. @param disk  the open device
bool diskHolds(DeviceHandle disk, const std::string& node);

}  // namespace ostria::storage
