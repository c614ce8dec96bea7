// How the system reaches an NVMe controller, and what the registers of that controller read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "virtual_pc/description/nvme_traits.h"

namespace ostria::virtual_pc {

/// The way to an NVMe controller that the system's driver for it offers.
enum class NvmePassThroughKind {
  IntelPort,     ///< the port takes requests with the signature "IntelNvm", by path
  MiniPort,      ///< the port takes requests with the signature "NvmeMini"
  StorageQuery,  ///< the disk answers protocol queries and protocol commands
  ScsiOnly,      ///< none; only the SCSI translation is there
  All,           ///< each of them
};

/// What the memory-mapped registers of an NVMe controller say.
struct NvmeRegisters {
  bool readable = true;           ///< false: the registers can't be mapped
  bool ready = true;              ///< CSTS.RDY
  bool fatal = false;             ///< CSTS.CFS
  bool gone = false;              ///< the controller has left the bus: every register reads as ones
  std::uint32_t answerBytes = 0;  ///< bytes that the service claims to have read; 0 as asked
};

/// What only an NVMe drive has.
struct NvmeDescription {
  NvmePassThroughKind passThrough = NvmePassThroughKind::StorageQuery;
  NvmeRegisters registers;
  /// Name of an earlier NVMe drive whose controller this namespace is on; empty: one of its own.
  std::string controllerOf;
  std::uint8_t pathId = 0;  ///< by which the port knows the drive
  /// Where a broken driver says that the data of its answer begin.
  std::optional<std::uint32_t> dataOffset;
  NvmeTraits traits;
};

}  // namespace ostria::virtual_pc
