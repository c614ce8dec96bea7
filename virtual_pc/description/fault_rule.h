// Planned faults of a drive: which commands they hit, and what they do to them. The errors of a
// device are those of its command set.
#pragma once

#include <cstdint>
#include <optional>
#include <variant>

namespace ostria::virtual_pc {

/// The drive ends an ATA command with these registers; nothing moves.
struct AtaFault {
  std::uint8_t error = 4;      ///< error register; 4 is ABRT
  std::uint8_t status = 0x51;  ///< status register; bit 0 ERR, bit 5 DF, bit 7 BSY
};

/// The device ends a SCSI command with CHECK CONDITION and this sense in fixed format; nothing
/// moves.
struct SenseFault {
  std::uint8_t key = 4;
  std::uint8_t asc = 0;
  std::uint8_t ascq = 0;
};

/// The device ends a SCSI command with a status, with or without sense data. Behind GOOD, and with
/// the sense keys NO SENSE and RECOVERED ERROR, the command is done all the same.
struct ScsiStatusFault {
  std::uint8_t status = 0;  ///< 0 GOOD, 2 CHECK CONDITION, 8 BUSY, 24 RESERVATION CONFLICT, ...
  std::optional<SenseFault> sense = {};
  bool descriptor = false;  ///< the sense is in descriptor format
};

/// The controller ends an NVMe command with this status; nothing moves.
struct NvmeFault {
  std::uint8_t type = 4;  ///< status code type
  std::uint8_t code = 0;  ///< status code
};

/// The operating system reports an error, and nothing reaches the device.
struct TransportFault {
  std::uint32_t error = 1117;
};

/// The device is gone, now and for good.
struct VanishFault {};

/// Only the first bytes of the data move.
struct ShortFault {
  std::uint32_t bytes = 0;
};

/// Other bytes come back instead of the data, the same in each run.
struct GarbageFault {};

/// No answer until the host gives up.
struct HangFault {};

/// The answer takes longer.
struct SlowFault {
  std::uint32_t milliseconds = 1000;
};

using FaultAction = std::variant<AtaFault, SenseFault, ScsiStatusFault, NvmeFault, TransportFault,
                                 VanishFault, ShortFault, GarbageFault, HangFault, SlowFault>;

/// One planned fault.
struct FaultRule {
  /// ATA command, SCSI operation code, NVMe opcode; without one any command.
  std::optional<std::uint8_t> command = {};
  /// ATA features (7:0), byte 2 of the SCSI CDB, NVMe dword 10 (7:0); without one any.
  std::optional<std::uint8_t> detail = {};
  /// NVMe: a queue that the command is in; without one either, as opcodes mean different things.
  std::optional<bool> adminQueue = {};
  std::uint32_t occurrence = 1;  ///< the first matching command that is hit, from 1
  std::uint32_t times = 1;       ///< how many are hit in a row; 0 is all from there on
  /// Time until an error is reported. 0: at once, as requests end that no device gets to see; the
  /// system then reports them as refused instead of failed.
  std::uint32_t milliseconds = 1;
  FaultAction action = AtaFault{};
};

}  // namespace ostria::virtual_pc
