// Where SAT translators put the ATA output registers into sense data, and which of them are an
// answer of the drive. The kernel also makes sense data for commands that the drive never answered.
#include "platform/linux/passthrough/sat_sense_registers.h"

#include <algorithm>

#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage {
namespace {

// "ATA pass-through information available": the command went well and was asked for its registers.
bool isInformation(std::uint8_t code, std::uint8_t qualifier) {
  return code == 0x00 && qualifier == 0x1D;
}

// Any other sense tells of a failure. It is the drive's own only if the drive says so; a command
// that was lost on the way leaves registers of no meaning.
bool driveFailed(std::uint8_t status) {
  return (status & (ata::StatusError | ata::StatusReady | ata::StatusBusy)) ==
         (ata::StatusError | ata::StatusReady);
}

/// The ATA Status Return descriptor, empty when there is none or it is cut.
std::span<const std::uint8_t> statusReturn(std::span<const std::uint8_t> sense) {
  if (sense.size() < 8) {
    return {};
  }
  const std::size_t end = std::min<std::size_t>(sense.size(), std::size_t{8} + sense[7]);
  for (std::size_t at = 8; at + 2 <= end; at += std::size_t{2} + sense[at + 1]) {
    if (sense[at] == 0x09 && sense[at + 1] == 12) {
      return at + 14 <= end ? sense.subspan(at, 14) : std::span<const std::uint8_t>();
    }
  }
  return {};
}

std::optional<AtaRegisters> fromDescriptors(std::span<const std::uint8_t> sense) {
  const auto field = statusReturn(sense);
  if (field.empty() || (!isInformation(sense[2], sense[3]) && !driveFailed(field[13]))) {
    return std::nullopt;
  }
  return AtaRegisters{.error = field[3],
                      .sectorCount = field[5],
                      .lbaLow = field[7],
                      .lbaMid = field[9],
                      .lbaHigh = field[11],
                      .device = field[12],
                      .status = field[13]};
}

// The fixed form has no mark of its own, so the status register must be where it belongs.
std::optional<AtaRegisters> fromFixed(std::span<const std::uint8_t> sense) {
  if (sense.size() < 14) {
    return std::nullopt;
  }
  if (isInformation(sense[12], sense[13]) || driveFailed(sense[4])) {
    return AtaRegisters{.error = sense[3],
                        .sectorCount = sense[6],
                        .lbaLow = sense[9],
                        .lbaMid = sense[10],
                        .lbaHigh = sense[11],
                        .device = sense[5],
                        .status = sense[4]};
  }
  // Kernels before 6.11 put the fields five bytes too far back, where the upper address is cut off.
  if (sense[3] == 0 && sense[4] == 0 && driveFailed(sense[9])) {
    return AtaRegisters{.error = sense[8],
                        .sectorCount = sense[11],
                        .lbaLow = sense.size() > 17 ? sense[17] : std::uint8_t{0},
                        .device = sense[10],
                        .status = sense[9]};
  }
  return std::nullopt;
}

}  // namespace

std::optional<AtaRegisters> ataRegistersFromSense(std::span<const std::uint8_t> sense) {
  if (sense.empty()) {
    return std::nullopt;
  }
  switch (sense[0] & 0x7F) {
    case 0x72:
      return fromDescriptors(sense);
    case 0x70:
      return fromFixed(sense);
    default:
      return std::nullopt;
  }
}

bool isLostAtaCommand(std::span<const std::uint8_t> sense) {
  constexpr auto kAbortedCommand = static_cast<std::uint8_t>(SenseKey::AbortedCommand);
  if (sense.size() < 14) {
    return false;
  }
  const bool descriptors = (sense[0] & 0x7F) == 0x72;
  const bool fixed = (sense[0] & 0x7F) == 0x70;
  if (!(descriptors || fixed) || (sense[descriptors ? 1 : 2] & 0x0F) != kAbortedCommand ||
      ataRegistersFromSense(sense)) {
    return false;
  }
  // An adapter that aborts a command without showing any register has answered.
  return descriptors ? !statusReturn(sense).empty() : (sense[4] | sense[9]) != 0;
}

}  // namespace ostria::storage
