// The commands of USB adapters from before SAT.
#pragma once

#include <cstdint>

#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

/// Byte 0 of the CDBs.
inline constexpr std::uint8_t kJmicronPassThrough = 0xDF;
inline constexpr std::uint8_t kSunplusPassThrough = 0xF8;
/// Byte 2 of the second: the command, or the bytes that a 48-bit command needs first.
inline constexpr std::uint8_t kSunplusCommand = 0x22;
inline constexpr std::uint8_t kSunplusPreset = 0x23;

// An ATA data-in command in the pass-through command of a USB adapter. All borrow the ATA command's
// buffer.

class JMicronAtaPassThrough12 final : public ScsiCmd {
 public:
  explicit JMicronAtaPassThrough12(const AtaCmd& ata);
};

class SunplusAtaPassThrough final : public ScsiCmd {
 public:
  explicit SunplusAtaPassThrough(const AtaCmd& ata);
};

/// Loads the "previous" bytes; goes before the pass-through of a 48-bit command.
class SunplusAtaPassthroughPreset final : public ScsiCmd {
 public:
  explicit SunplusAtaPassthroughPreset(const AtaCmd& ata);
};

}  // namespace ostria::storage
