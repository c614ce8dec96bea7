// ATA output registers in sense data (SAT), and the sense that the kernel makes up.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace ostria::storage {

/// The output registers of an ATA command, low bytes only.
struct AtaRegisters {
  std::uint8_t error = 0;
  std::uint8_t sectorCount = 0;
  std::uint8_t lbaLow = 0;
  std::uint8_t lbaMid = 0;
  std::uint8_t lbaHigh = 0;
  std::uint8_t device = 0;
  std::uint8_t status = 0;
};

/// The registers that a SAT translator puts into sense data (SAT: ATA Status Return descriptor, and
/// the fixed form). Nothing when the sense data are of another kind.
std::optional<AtaRegisters> ataRegistersFromSense(std::span<const std::uint8_t> sense);

/// Whether the sense data of an ATA PASS-THROUGH tell of a command that the drive never answered:
/// the kernel then reports it as aborted, with registers that show no error.
bool isLostAtaCommand(std::span<const std::uint8_t> sense);

}  // namespace ostria::storage
