// The ATA commands that a drive of this PC knows (ATA8-ACS, clause 7). The product has a list of
// its own: a code that is wrong in one of them would be refused by the other.
#pragma once

#include <cstdint>

namespace ostria::virtual_pc::ata {

/// Command register.
enum Command : std::uint8_t {
  ReadSectors = 0x20,
  ReadSectorsExt = 0x24,
  ReadDmaExt = 0x25,
  ReadMultipleExt = 0x29,
  ReadLogExt = 0x2F,
  WriteSectors = 0x30,
  WriteSectorsExt = 0x34,
  WriteDmaExt = 0x35,
  WriteUncorrectableExt = 0x45,
  FormerCheckPowerMode = 0x98,
  Smart = 0xB0,
  ReadMultiple = 0xC4,
  WriteMultiple = 0xC5,
  ReadDma = 0xC8,
  WriteDma = 0xCA,
  StandbyImmediate = 0xE0,
  IdleImmediate = 0xE1,
  CheckPowerMode = 0xE5,
  FlushCache = 0xE7,
  FlushCacheExt = 0xEA,
  IdentifyDevice = 0xEC,
};

/// Features register of `Smart`.
enum SmartCommand : std::uint8_t {
  SmartReadData = 0xD0,
  SmartReadThresholds = 0xD1,
  SmartExecuteOffline = 0xD4,
  SmartReadLog = 0xD5,
  SmartEnable = 0xD8,
  SmartDisable = 0xD9,
  SmartReturnStatus = 0xDA,
};

/// LBA mid and LBA high of every SMART command; a failing drive answers with the other pair.
inline constexpr std::uint8_t kSmartLbaMid = 0x4F;
inline constexpr std::uint8_t kSmartLbaHigh = 0xC2;
inline constexpr std::uint8_t kFailingLbaMid = 0xF4;
inline constexpr std::uint8_t kFailingLbaHigh = 0x2C;

}  // namespace ostria::virtual_pc::ata
