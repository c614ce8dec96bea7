#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inventory/partitions/partition_table.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// Joins every mounted volume with the partitions of `table` that it lies on, by the disk number of
/// the table. A volume that refuses a question leaves those fields empty.
void joinVolumes(DeviceScanner& scanner, PartitionTable& table);

/// Root paths of the volumes that lie on the disk with this number, wholly or in part.
std::vector<std::string> rootsOnDisk(DeviceScanner& scanner, std::uint32_t diskNumber);

/// Path by which the volume with this root ("C:\") is opened.
std::string volumePath(const std::string& root);

}  // namespace ostria::storage
