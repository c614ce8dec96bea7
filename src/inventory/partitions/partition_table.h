#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ostria::storage {

/// One partition of a disk, joined with the volume on it.
struct PartitionEntry {
  std::string
      typeText;  ///< "PRIMARY", "EXTENDED", "LOGICAL", or the key of the GPT type; may be empty
  std::string label;
  std::vector<std::string> mountPoints;  ///< root paths, "C:\" for instance
  std::string fileSystem;
  std::string serial;           ///< volume serial number, eight upper-case hexadecimal digits
  std::uint32_t number = 0;     ///< the system's number of the partition
  std::uint64_t sizeBytes = 0;  ///< the volume's total when the volume reports one
  std::uint64_t freeBytes = 0;
  std::uint64_t usedBytes = 0;
  std::uint64_t startOffset = 0;  ///< bytes from the start of the disk
  std::uint32_t clusterBytes = 0;
  bool onSeveralDisks = false;  ///< the volume's content may lie on another disk
};

/// The layout of one disk.
struct PartitionTable {
  std::uint32_t diskNumber = 0;  ///< the system's number of the disk
  std::uint64_t unallocatedBytes = 0;
  std::string schema;  ///< "MBR", "GPT", "RAW", "UNKNOWN", or empty
  std::vector<PartitionEntry> partitions;
};

}  // namespace ostria::storage
