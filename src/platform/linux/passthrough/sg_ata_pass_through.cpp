// ATA commands for the Linux kernel, as ATA PASS-THROUGH (16) of SAT over SG_IO: what a SAT bridge
// (transport/tunnels/sat_pass_through) is for adapters, this is for the kernel's own translator and
// the firmware of SAS controllers. A SAT bridge beside it would be the same way twice.
#include "platform/linux/passthrough/sg_ata_pass_through.h"

#include <algorithm>
#include <optional>
#include <span>

#include "platform/linux/passthrough/sat_sense_registers.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {
namespace {

// What a drive shows after a command without an error: ready, seek complete.
constexpr std::uint8_t kCleanStatus = 0x50;

ata::Transfer transferOf(const AtaCmd& command) {
  if (command.dataDirection == DataDirection::None) {
    return ata::Transfer::NonData;
  }
  if (ata::traitsOf(command.command, command.features).transfer == ata::Transfer::Dma) {
    return ata::Transfer::Dma;
  }
  return command.dataDirection == DataDirection::FromDevice ? ata::Transfer::PioIn
                                                            : ata::Transfer::PioOut;
}

}  // namespace

SgCommand ataPassThrough(const AtaCmd& command) {
  constexpr std::uint8_t kCheckCondition = 0x20, kFromDevice = 0x08, kInBlocks = 0x04,
                         kCountField = 0x02, kLogicalSectors = 0x10;
  const bool extended = IsLba48Command(command.command);
  SgCommand out;
  out.cdbLength = 16;
  out.direction = command.dataDirection;
  out.transferBytes = static_cast<std::uint32_t>(command.transferBytes);
  out.data = command.data;
  out.timeoutSeconds = command.timeoutSeconds;

  // A command with data shows its registers when it fails; asked for them after a success, some
  // controllers show those from before the last block.
  std::uint8_t flags = kCheckCondition;
  if (command.dataDirection != DataDirection::None) {
    flags = kInBlocks | kCountField;
    if (command.dataDirection == DataDirection::FromDevice) {
      flags |= kFromDevice;
    }
    const std::uint64_t count =
        command.sectorCount + (extended ? std::uint64_t{command.sectorCountPrevious} << 8 : 0);
    if (command.transferBytes != count * kAtaPageBytes) {
      flags |= kLogicalSectors;
    }
  }
  out.cdb = {scsi::AtaPassThrough16,
             static_cast<std::uint8_t>(static_cast<unsigned>(transferOf(command)) << 1 |
                                       (extended ? 1u : 0u)),
             flags,
             extended ? command.featuresPrevious : std::uint8_t{0},
             command.features,
             extended ? command.sectorCountPrevious : std::uint8_t{0},
             command.sectorCount,
             extended ? command.lbaLowPrevious : std::uint8_t{0},
             command.lbaLow,
             extended ? command.lbaMidPrevious : std::uint8_t{0},
             command.lbaMid,
             extended ? command.lbaHighPrevious : std::uint8_t{0},
             command.lbaHigh,
             command.device,
             command.command,
             0};
  return out;
}

ProtocolResult takeAtaAnswer(const SgCommand& answer, AtaCmd& command) {
  std::optional<AtaRegisters> registers;
  if (answer.hasStatus(ScsiStatus::CheckCondition)) {
    const std::size_t length = std::min<std::size_t>(answer.senseLength, answer.sense.size());
    registers = ataRegistersFromSense(std::span(answer.sense).first(length));
  } else if (answer.hasStatus(ScsiStatus::Good) &&
             (!command.wantRegisters || command.dataDirection != DataDirection::None)) {
    // The registers are held back. That the command went well has been said.
    registers = AtaRegisters{.sectorCount = command.sectorCount,
                             .lbaLow = command.lbaLow,
                             .lbaMid = command.lbaMid,
                             .lbaHigh = command.lbaHigh,
                             .device = command.device,
                             .status = kCleanStatus};
  }
  if (!registers) {
    return ProtocolResult::TransportFailure;
  }

  command.features = registers->error;
  command.sectorCount = registers->sectorCount;
  command.lbaLow = registers->lbaLow;
  command.lbaMid = registers->lbaMid;
  command.lbaHigh = registers->lbaHigh;
  command.device = registers->device;
  command.command = registers->status;
  if (command.dataDirection == DataDirection::FromDevice) {
    // On an error the kernel's translator reports all bytes as moved, whatever came.
    const bool nothingCame = answer.movedBytes == 0 || (command.command & ata::StatusError) != 0;
    if (nothingCame && command.transferBytes != 0) {
      return ProtocolResult::NoDataReturned;
    }
    command.transferBytes = answer.movedBytes;
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
