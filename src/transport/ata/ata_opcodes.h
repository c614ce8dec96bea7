// Command and subcommand codes of ATA (ACS-3), and what each command does on the wire: one row per
// command, which the SAT layer and the platforms' pass-throughs share, so that they cannot disagree
// on the width or the transfer of a command.
#pragma once

#include <cstdint>

namespace ostria::storage::ata {

/// Command register.
enum Opcode : std::uint8_t {
  ReadSectors = 0x20,
  ReadSectorsExt = 0x24,
  ReadDmaExt = 0x25,
  ReadDmaQueuedExt = 0x26,
  ReadMultipleExt = 0x29,
  ReadLogExt = 0x2F,
  WriteSectors = 0x30,
  WriteSectorsExt = 0x34,
  WriteDmaExt = 0x35,
  WriteDmaQueuedExt = 0x36,
  ReadVerify = 0x40,
  ReadVerifyExt = 0x42,
  WriteUncorrectableExt = 0x45,
  Smart = 0xB0,
  ReadMultiple = 0xC4,
  ReadDmaQueued = 0xC7,
  ReadDma = 0xC8,
  WriteDma = 0xCA,
  WriteDmaQueued = 0xCC,
  IdleImmediate = 0xE1,
  CheckPowerMode = 0xE5,
  IdentifyDevice = 0xEC,
};

/// Features register of `Smart`.
enum SmartSubcommand : std::uint8_t {
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
inline constexpr std::uint8_t kSmartFailingLbaMid = 0xF4;
inline constexpr std::uint8_t kSmartFailingLbaHigh = 0x2C;

/// Features register of `WriteUncorrectableExt`: with and without an entry in the drive's log.
inline constexpr std::uint8_t kPseudoUncorrectable = 0x55;
inline constexpr std::uint8_t kFlaggedUncorrectable = 0xAA;

/// Bits of the status register. With `StatusBusy` set none of the other bits means anything.
enum StatusBit : std::uint8_t {
  StatusError = 0x01,
  StatusDeviceFault = 0x20,
  StatusReady = 0x40,
  StatusBusy = 0x80,
};

/// Bits of the error register.
enum ErrorBit : std::uint8_t {
  ErrorAborted = 0x04,
  ErrorIdNotFound = 0x10,
  ErrorUncorrectable = 0x40,
  ErrorInterfaceCrc = 0x80,
};

/// How a command moves its data; the values of the PROTOCOL field of ATA PASS-THROUGH (SAT).
enum class Transfer : std::uint8_t { NonData = 3, PioIn = 4, PioOut = 5, Dma = 6, DmaQueued = 7 };

enum TraitBit : std::uint8_t {
  Wide = 1,        ///< uses the "previous" bytes of the registers
  OfMedium = 2,    ///< reads sectors: an error is that of a sector
  PageBlocks = 4,  ///< moves a page per block, whatever the drive is set to by SET MULTIPLE
};

/// What a command does, whatever its arguments.
struct Traits {
  std::uint8_t opcode = 0;
  Transfer transfer = Transfer::NonData;
  std::uint8_t bits = 0;        ///< of `TraitBit`
  std::uint8_t subcommand = 0;  ///< features register of the row; 0 for every one

  constexpr bool has(TraitBit bit) const { return (bits & bit) != 0; }
};

/// A command that is not listed moves no data.
inline constexpr Traits kTraits[] = {
    {ReadSectors, Transfer::PioIn, OfMedium},
    {ReadSectorsExt, Transfer::PioIn, Wide | OfMedium},
    {ReadDmaExt, Transfer::Dma, Wide | OfMedium},
    {ReadDmaQueuedExt, Transfer::DmaQueued, Wide | OfMedium},
    {ReadMultipleExt, Transfer::PioIn, Wide | OfMedium},
    {ReadLogExt, Transfer::PioIn, Wide},
    {WriteSectors, Transfer::PioOut},
    {WriteSectorsExt, Transfer::PioOut, Wide},
    {WriteDmaExt, Transfer::Dma, Wide},
    {WriteDmaQueuedExt, Transfer::DmaQueued, Wide},
    {ReadVerify, Transfer::NonData, OfMedium},
    {ReadVerifyExt, Transfer::NonData, Wide | OfMedium},
    {WriteUncorrectableExt, Transfer::NonData, Wide},
    {Smart, Transfer::PioIn, 0, SmartReadData},
    {Smart, Transfer::PioIn, 0, SmartReadThresholds},
    {Smart, Transfer::PioIn, PageBlocks, SmartReadLog},
    {ReadMultiple, Transfer::PioIn, OfMedium},
    {ReadDmaQueued, Transfer::DmaQueued, OfMedium},
    {ReadDma, Transfer::Dma, OfMedium},
    {WriteDma, Transfer::Dma},
    {WriteDmaQueued, Transfer::DmaQueued},
    {IdentifyDevice, Transfer::PioIn},
};

/// @param features  the subcommand of `Smart`; plays no part for other commands
constexpr Traits traitsOf(std::uint8_t opcode, std::uint8_t features = 0) {
  for (const Traits& row : kTraits) {
    if (row.opcode == opcode && (row.subcommand == 0 || row.subcommand == features)) {
      return row;
    }
  }
  return {.opcode = opcode};
}

}  // namespace ostria::storage::ata
