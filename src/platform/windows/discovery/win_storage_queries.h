#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/device_handle.h"
#include "inventory/partitions/partition_layout.h"

namespace ostria::storage {

// Questions to an open disk or volume. Nothing comes back when the system refuses, and when it
// returns less than the answer needs.

struct DeviceNumber {
  std::uint32_t deviceNumber = 0;
  std::uint32_t partitionNumber = 0;
};

std::optional<DeviceNumber> queryDeviceNumber(DeviceHandle handle);

/// Bytes of the whole storage device descriptor.
std::optional<std::uint32_t> queryDescriptorSize(DeviceHandle handle);

/// The first `bytes` of the descriptor, as many as came.
std::optional<std::vector<std::uint8_t>> queryDescriptor(DeviceHandle handle, std::uint32_t bytes);

/// Capability bits of the disk driver's own SMART interface.
std::optional<std::uint32_t> querySmartCapabilities(DeviceHandle handle);

std::optional<DiskLayout> queryLayout(DeviceHandle handle);

std::optional<std::uint32_t> queryNtfsClusterBytes(DeviceHandle volume);

struct VolumeExtent {
  std::uint32_t disk = 0;    ///< number of the disk
  std::uint64_t offset = 0;  ///< bytes from the start of the disk
};

/// What an open volume consists of, as far as the system says; several of a volume that spans
/// disks.
std::vector<VolumeExtent> queryVolumeExtents(DeviceHandle volume);

/// Whether an open volume lies on the disk with this number, wholly or in part.
bool liesOnDisk(DeviceHandle volume, std::uint32_t disk);

}  // namespace ostria::storage
