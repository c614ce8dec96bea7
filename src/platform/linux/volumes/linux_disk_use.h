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

/// Whether a file lies on the disk.
/// @param mount   its mount, as statx has it; 0 when the kernel does not say
/// @param device  dev_t that the file says it is on
/// @param root    see above
bool isMountOfDisk(std::uint64_t mount, std::uint32_t device, std::uint32_t disk,
                   const std::string& root);

/// Whether a node is the disk, a partition of it, or built above one of these; of a file system on
/// several devices, whether one of its devices is. @param disk  the open device
bool diskHolds(DeviceHandle disk, const std::string& node);

}  // namespace ostria::storage
