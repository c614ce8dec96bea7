#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inventory/partitions/partition_table.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// Joins every mounted volume with the partitions of `table` that it lies on, by the disk number of
/// the table. A volume that refuses a question leaves those fields empty.
void joinVolumes(DeviceScanner& scanner, PartitionTable& table);

/// Root paths of the volumes that lie on the disk with this number, wholly or in part: by drive
/// letter, and those without one by GUID ("\\?\Volume{...}\").
/// @return nothing when the system's volumes could not be listed
std::optional<std::vector<std::string>> rootsOnDisk(DeviceScanner& scanner,
                                                    std::uint32_t diskNumber);

/// Path by which the volume with this root is opened.
std::string volumePath(const std::string& root);

}  // namespace ostria::storage
