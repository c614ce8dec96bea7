// Partition entries from the operating system's layout of a disk, joined with the mounted volumes.
// Windows lists the inner partitions of an extended one beside it, so the list is rewritten.
#include "inventory/partitions/partition_layout.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "inventory/format_texts.h"
#include "inventory/partitions/partition_types.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

constexpr const char* kPrimary = "PRIMARY";
constexpr const char* kExtended = "EXTENDED";
constexpr const char* kLogical = "LOGICAL";

const char* schemaOf(PartitionStyle style) {
  switch (style) {
    case PartitionStyle::Mbr:
      return "MBR";
    case PartitionStyle::Gpt:
      return "GPT";
    case PartitionStyle::Raw:
      return "RAW";
  }
  return "UNKNOWN";
}

bool isExtended(const PartitionEntry& entry) { return entry.typeText == kExtended; }

std::uint64_t endOf(const PartitionEntry& entry) {
  const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - entry.startOffset;
  return entry.startOffset + std::min(entry.sizeBytes, room);
}

}  // namespace

void buildPartitions(const DiskLayout& layout, PartitionTable& table) {
  table.partitions.clear();
  table.schema = schemaOf(layout.style);
  for (const LayoutEntry& source : layout.entries) {
    PartitionEntry entry;
    entry.number = source.number;
    entry.sizeBytes = source.length;
    entry.startOffset = source.start;
    if (source.style == PartitionStyle::Gpt) {
      if (source.gptType == decltype(source.gptType){}) {
        continue;
      }
      entry.typeText = gptTypeKey(FormatGuid(source.gptType));
    } else if (source.style == PartitionStyle::Mbr) {
      if (source.mbrType == 0) {
        continue;
      }
      entry.fileSystem = mbrTypeName(source.mbrType);
      entry.typeText = isExtendedMbrType(source.mbrType) ? kExtended : kPrimary;
    } else {
      continue;
    }
    table.partitions.push_back(std::move(entry));
  }
}

void joinVolume(const VolumeFacts& volume, PartitionEntry& entry) {
  entry.mountPoints.push_back(volume.root);
  if (volume.identity) {
    entry.label = volume.identity->label;
    char serial[9];
    get_string_handler()->formatBounded(serial, sizeof serial, "%08X", volume.identity->serial);
    entry.serial = serial;
    if (entry.fileSystem.empty()) {
      entry.fileSystem = volume.identity->fileSystem;
      get_string_handler()->toLowerCase(entry.fileSystem);
    }
  }
  if (volume.clusterBytes) {
    entry.clusterBytes = *volume.clusterBytes;
  }
  if (volume.space) {
    entry.sizeBytes = volume.space->total;
    entry.freeBytes = volume.space->free;
    entry.usedBytes = entry.sizeBytes - std::min(entry.freeBytes, entry.sizeBytes);
  }
}

void rewriteLogicalPartitions(std::vector<PartitionEntry>& entries) {
  const PartitionEntry* largest = nullptr;
  for (const PartitionEntry& entry : entries) {
    if (isExtended(entry) && (largest == nullptr || entry.sizeBytes > largest->sizeBytes)) {
      largest = &entry;
    }
  }
  if (largest == nullptr) {
    return;
  }
  const std::uint64_t start = largest->startOffset;
  const std::uint64_t end = endOf(*largest);

  std::vector<PartitionEntry> rewritten;
  for (PartitionEntry& entry : entries) {
    const bool inside = entry.startOffset > start && entry.startOffset < end;
    if (inside && entry.typeText != kPrimary) {
      continue;
    }
    if (inside) {
      entry.typeText = kLogical;
    }
    rewritten.push_back(std::move(entry));
  }
  entries = std::move(rewritten);
}

std::uint64_t unallocatedBytes(std::uint64_t diskBytes,
                               const std::vector<PartitionEntry>& entries) {
  for (const PartitionEntry& entry : entries) {
    if (!isExtended(entry)) {
      diskBytes -= std::min(diskBytes, entry.sizeBytes);
    }
  }
  return diskBytes;
}

}  // namespace ostria::storage
