// ATA PASS-THROUGH (12) and (16) of SAT-2. The Linux kernel's own ATA layer is spoken to by a twin,
// platform/linux/passthrough/sg_ata_pass_through: that one knows its translator and asks for the
// registers of commands without data only, while here any adapter may answer.
#include "transport/tunnels/sat_pass_through.h"

#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {

namespace {

constexpr unsigned kReturnResponseInformation = 15;

/// Byte 1: PROTOCOL and EXTEND.
std::uint8_t protocolByte(const ata::Traits& traits, bool extend) {
  return static_cast<std::uint8_t>(static_cast<unsigned>(traits.transfer) << 1 |
                                   (extend ? 1u : 0u));
}

std::uint64_t countOf(const AtaCmd& command, const ata::Traits& traits) {
  return command.sectorCount +
         (traits.has(ata::Wide) ? std::uint64_t{command.sectorCountPrevious} << 8 : 0);
}

/// Byte 2. The length is given in blocks, and counted in the sector count field. A block is 512
/// bytes for the translator unless T_TYPE says that it is the drive's own sector.
std::uint8_t transferByte(const AtaCmd& command, const ata::Traits& traits, bool ckCondition) {
  constexpr unsigned kLengthInCount = 0x02;
  constexpr unsigned kLengthInBlocks = 0x04;
  constexpr unsigned kFromDevice = 0x08;
  constexpr unsigned kLogicalSectors = 0x10;
  constexpr unsigned kCkCond = 0x20;
  constexpr unsigned kOffLine = 0x40;
  const bool movesData = traits.transfer != ata::Transfer::NonData;
  unsigned flags = kLengthInBlocks | kOffLine;
  if (movesData) {
    flags |= kLengthInCount;
    if (command.transferBytes != countOf(command, traits) * kAtaPageBytes) {
      flags |= kLogicalSectors;
    }
  }
  if (!movesData || command.dataDirection == DataDirection::FromDevice) {
    flags |= kFromDevice;
  }
  if (ckCondition) {
    flags |= kCkCond;
  }
  return static_cast<std::uint8_t>(flags);
}

void takeData(ScsiCmd& wrapped, const AtaCmd& command) {
  wrapped.transferBytes = command.transferBytes;
  wrapped.data = command.data;
  wrapped.direction = command.dataDirection;
  wrapped.timeoutSeconds = command.timeoutSeconds;
}

}  // namespace

SatAtaPassThrough12::SatAtaPassThrough12(const AtaCmd& command, bool ckCondition) {
  SatAtaPassThrough12::Fill(command, ckCondition);
}

void SatAtaPassThrough12::Fill(const AtaCmd& command, bool ckCondition) {
  static_cast<ScsiCmd&>(*this) = ScsiCmd();
  const ata::Traits traits = ata::traitsOf(command.command, command.features);
  cdbLength = 12;
  cdb = {scsi::AtaPassThrough12,
         protocolByte(traits, false),
         transferByte(command, traits, ckCondition),
         command.features,
         command.sectorCount,
         command.lbaLow,
         command.lbaMid,
         command.lbaHigh,
         command.device,
         command.command};
  takeData(*this, command);
}

SatAtaPassThrough16::SatAtaPassThrough16(const AtaCmd& command, bool ckCondition) {
  SatAtaPassThrough16::Fill(command, ckCondition);
}

void SatAtaPassThrough16::Fill(const AtaCmd& command, bool ckCondition) {
  static_cast<ScsiCmd&>(*this) = ScsiCmd();
  const ata::Traits traits = ata::traitsOf(command.command, command.features);
  cdbLength = 16;
  cdb = {scsi::AtaPassThrough16,
         protocolByte(traits, traits.has(ata::Wide)),
         transferByte(command, traits, ckCondition),
         command.featuresPrevious,
         command.features,
         command.sectorCountPrevious,
         command.sectorCount,
         command.lbaLowPrevious,
         command.lbaLow,
         command.lbaMidPrevious,
         command.lbaMid,
         command.lbaHighPrevious,
         command.lbaHigh,
         command.device,
         command.command};
  takeData(*this, command);
}

SatGetAtaOutputRegisters::SatGetAtaOutputRegisters(void* buffer) {
  cdbLength = 12;
  cdb = {scsi::AtaPassThrough12, kReturnResponseInformation << 1};
  transferBytes = 14;
  data = buffer;
  direction = DataDirection::FromDevice;
}

}  // namespace ostria::storage
