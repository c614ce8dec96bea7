#pragma once

#include <cstdint>

namespace ostria::storage {

/// Which concrete protocol reaches a device. `Unset` until its creator says.
enum class ProtocolKind : std::uint32_t {
  Unset = 0,
  Ata = 1,
  Scsi = 2,
  Emmc = 3,
  Nvme = 4,            ///< NVMe through a miniport pass-through
  NvmeScsi = 5,        ///< NVMe of which only SCSI translation is reachable
  NvmeSystemCall = 6,  ///< NVMe through the operating system's storage queries
};

/// The bus a device hangs on.
enum class StorageBusKind : std::uint32_t {
  Ata = 0,
  Scsi = 1,
  Usb = 2,
  Raid = 3,
  Unknown = 4,
  Emmc = 5,
  Nvme = 6,
};

/// Where a device sits.
enum class DeviceConnection : std::uint32_t {
  Other = 0,
  Internal = 1,
  External = 2,
  RaidMember = 3,
};

/// Which way the data of a command goes.
enum class DataDirection : std::uint32_t {
  None = 0,
  FromDevice = 1,
  ToDevice = 2,
};

}  // namespace ostria::storage
