#include "platform/linux/ata_registers.h"

#include <algorithm>

namespace ostria::storage {
namespace {

constexpr std::uint8_t ErrorBit = 0x01;
constexpr std::uint8_t DeviceFaultBit = 0x20;
constexpr std::uint8_t ReadyBit = 0x40;

std::optional<AtaRegisters> fromDescriptors(std::span<const std::uint8_t> sense) {
  if (sense.size() < 8) return std::nullopt;
  const std::size_t end = std::min<std::size_t>(sense.size(), std::size_t{8} + sense[7]);
  for (std::size_t at = 8; at + 2 <= end; at += std::size_t{2} + sense[at + 1]) {
    if (sense[at] != 0x09 || sense[at + 1] != 12) continue;
    if (at + 14 > end) return std::nullopt;
    const auto field = sense.subspan(at, 14);
    return AtaRegisters{.error = field[3],
                        .sectorCount = field[5],
                        .lbaLow = field[7],
                        .lbaMid = field[9],
                        .lbaHigh = field[11],
                        .device = field[12],
                        .status = field[13]};
  }
  return std::nullopt;
}

// The fixed form has no mark of its own but the additional sense code 00h/1Dh, which gives way to
// another when the command failed; then the status register in its place must show the failure.
std::optional<AtaRegisters> fromFixed(std::span<const std::uint8_t> sense) {
  if (sense.size() < 14) return std::nullopt;
  const std::uint8_t status = sense[4];
  const bool told = sense[12] == 0x00 && sense[13] == 0x1D;
  const bool failed = (status & ReadyBit) != 0 && (status & (ErrorBit | DeviceFaultBit)) != 0;
  if (!told && !failed) return std::nullopt;
  return AtaRegisters{.error = sense[3],
                      .sectorCount = sense[6],
                      .lbaLow = sense[9],
                      .lbaMid = sense[10],
                      .lbaHigh = sense[11],
                      .device = sense[5],
                      .status = status};
}

}  // namespace

std::optional<AtaRegisters> ataRegistersFromSense(std::span<const std::uint8_t> sense) {
  if (sense.empty()) return std::nullopt;
  switch (sense[0] & 0x7F) {
    case 0x72:
      return fromDescriptors(sense);
    case 0x70:
      return fromFixed(sense);
    default:
      return std::nullopt;
  }
}

}  // namespace ostria::storage
