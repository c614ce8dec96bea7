#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inventory/partitions/partition_table.h"

namespace ostria::storage {

/// How a disk, or one entry of its layout, is partitioned. Other values can come from the system.
enum class PartitionStyle : std::uint32_t { Mbr = 0, Gpt = 1, Raw = 2 };

/// One entry of the system's layout of a disk. Lengths and offsets in bytes.
struct LayoutEntry {
  PartitionStyle style{};
  std::uint32_t number = 0;
  std::uint64_t start = 0;
  std::uint64_t length = 0;
  std::uint8_t mbrType = 0;                ///< for `Mbr`
  std::array<std::uint8_t, 16> gptType{};  ///< for `Gpt`, as on the disk
};

struct DiskLayout {
  PartitionStyle style{};
  std::vector<LayoutEntry> entries;
};

/// What a mounted volume says of itself. What it refused to say is absent.
struct VolumeFacts {
  struct Identity {
    std::string label;
    std::string fileSystem;
    std::uint32_t serial = 0;
  };
  struct Space {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
  };
  std::string root;  ///< "C:\"
  std::optional<Identity> identity;
  std::optional<Space> space;
  std::optional<std::uint32_t> clusterBytes;
};

/// Sets the schema and replaces the partitions of `table`.
void buildPartitions(const DiskLayout& layout, PartitionTable& table);

/// Joins a volume with the partition that it lies on. Several volumes may join one partition.
void joinVolume(const VolumeFacts& volume, PartitionEntry& entry);

/// The system lists what lies in an extended partition beside it: turns those entries into
/// "LOGICAL" ones and drops the links between them.
void rewriteLogicalPartitions(std::vector<PartitionEntry>& entries);

/// Bytes of the disk that no partition takes; never below 0, whatever the partitions claim.
std::uint64_t unallocatedBytes(std::uint64_t diskBytes, const std::vector<PartitionEntry>& entries);

}  // namespace ostria::storage
