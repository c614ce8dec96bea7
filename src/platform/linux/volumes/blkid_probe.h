#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inventory/partitions/partition_layout.h"

namespace ostria::storage {

/// What an open disk or image holds: its partition table, or what stands on the whole of it. A disk
/// without a table has style `Raw` and no entries.
struct DiskContent : DiskLayout {
  /// The file system of a disk without a table; nothing when there is none, or its reads do not
  /// end.
  std::optional<VolumeFacts::Identity> whole;
};

/// @param readsHang  out, may be null: whether the disk did not end a read within 30 seconds
/// @return nothing when the disk cannot be read, or so far as it had been read by then
std::optional<DiskContent> probeDisk(int descriptor, bool* readsHang = nullptr);

/// Label, type and serial number of the file system on a node; nothing when there is none, or when
/// its reads do not end. The serial number is the one that the file system's own system shows, else
/// the start of its UUID.
/// @param readsHang  as above
std::optional<VolumeFacts::Identity> probeFilesystem(const std::string& node,
                                                     bool* readsHang = nullptr);

/// A UUID text ("1234-ABCD", 16 digits, or the long form) as a volume serial number.
std::uint32_t volumeSerial(const std::string& uuid);

}  // namespace ostria::storage
