// Sending of SCSI commands, and reads and writes of SBC. A drive says in sense data what became of
// a command, and not every drive knows the long CDBs.

#include "transport/scsi/scsi_protocol.h"

#include <algorithm>

#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage {

namespace {

// Additional sense codes.
constexpr std::uint8_t kUnrecoveredRead = 0x11;
constexpr std::uint8_t kInterfaceError = 0x47;  // with qualifiers 0 to 5: parity and CRC

// READ(16) and WRITE(16) alone reach sectors from here on.
constexpr std::uint64_t kShortReach = std::uint64_t{1} << 32;

// What the sense of a read that went through says about its data.
ProtocolResult readVerdict(const std::array<std::uint8_t, 32>& raw, ProtocolResult otherwise) {
  ScsiSense sense;
  if (!succeeded(sense.Decode(raw))) {
    return otherwise;
  }
  const SenseKey key = sense.GetSenseKey();
  if (key == SenseKey::MediumError || key == SenseKey::HardwareError ||
      key == SenseKey::Miscompare || sense.GetAsc() == kUnrecoveredRead) {
    return ProtocolResult::MediumError;
  }
  if (sense.GetAsc() == kInterfaceError && sense.GetAscq() < 6) {
    return ProtocolResult::InterfaceCrcError;
  }
  return otherwise;
}

}  // namespace

ProtocolResult ScsiProtocol::SendThroughBridges(ScsiCmd& command) {
  ProtocolResult result = ProtocolResult::CommandRejected;
  for (std::size_t i = 0; i < bridges_.size(); ++i) {
    result = bridges_[i].Send(command);
    if (succeeded(result)) {
      if (i != 0) {
        bridges_.moveToFront(i);
      }
      return result;
    }
  }
  return result;
}

bool ScsiProtocol::ProbeBridge(ScsiBridge& bridge) {
  std::array<std::uint8_t, 64> page{};
  Inquiry command(page.data(), page.size());
  if (!succeeded(bridge.Send(command))) {
    return false;
  }
  if (command.transferBytes >= 5) {
    return true;
  }
  ScsiSense sense;
  return command.senseLength > 0 && succeeded(sense.Decode(command.sense)) &&
         sense.GetSenseKey() != SenseKey::IllegalRequest;
}

ProtocolResult ScsiProtocol::CheckSense(ScsiCmd& command) {
  ProtocolResult result = SendThroughBridges(command);
  if (!succeeded(result) || command.senseLength == 0) {
    return result;
  }
  ScsiSense sense;
  result = sense.Decode(command.sense);
  if (!succeeded(result)) {
    return result;
  }
  const SenseKey key = sense.GetSenseKey();
  return key == SenseKey::IllegalRequest || key == SenseKey::DataProtect
             ? ProtocolResult::CommandRejected
             : ProtocolResult::Success;
}

ProtocolResult ScsiProtocol::CheckStatus(ScsiCmd& command, ProtocolResult notGood) {
  const ProtocolResult result = CheckSense(command);
  return succeeded(result) && command.scsiStatus != 0 ? notGood : result;
}

ProtocolResult ScsiProtocol::Read(std::uint64_t lba, std::uint16_t sectors,
                                  std::uint32_t /*timeoutSeconds*/, void* buffer,
                                  std::uint32_t /*bufferBytes*/) {
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  if (sectorSize < 512 || buffer == nullptr) {
    return ProtocolResult::InvalidArgument;
  }

  Read16 read16(buffer, lba, sectors, sectorSize);
  Read12 read12(buffer, lba, sectors, sectorSize);
  Read10 read10(buffer, lba, sectors, sectorSize);
  ScsiCmd* const levels[] = {&read16, &read12, &read10};
  for (;; ++readCdbLevel_) {
    // A cut address would read another sector.
    if (readCdbLevel_ > 0 && lba >= kShortReach) {
      return ProtocolResult::CommandUnusable;
    }
    ScsiCmd& command = *levels[readCdbLevel_];
    const ProtocolResult result = CheckSense(command);
    if (succeeded(result)) {
      return command.senseLength > 0 ? readVerdict(command.sense, result) : result;
    }
    if (readCdbLevel_ == 0 && properties_->totalSectors > kShortReach) {
      return ProtocolResult::CommandUnusable;
    }
    if (readCdbLevel_ == std::size(levels) - 1) {
      return command.senseLength > 0 ? readVerdict(command.sense, result) : result;
    }
  }
}

ProtocolResult ScsiProtocol::Write(std::uint64_t lba, std::uint16_t sectors,
                                   std::uint64_t /*ignored*/, const void* buffer) {
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  if (sectorSize < 512 || buffer == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  // A command record has one buffer pointer for both directions; a data-out send only reads it.
  void* const source = const_cast<void*>(buffer);

  Write16 write16(source, lba, sectors, sectorSize);
  ProtocolResult result = CheckSense(write16);
  if (succeeded(result)) {
    return result;
  }
  // A cut address would overwrite another sector.
  if (properties_->totalSectors > kShortReach || lba >= kShortReach) {
    return ProtocolResult::CommandUnusable;
  }
  Write12 write12(source, lba, sectors, sectorSize);
  result = CheckSense(write12);
  if (succeeded(result)) {
    return result;
  }
  Write10 write10(source, lba, sectors, sectorSize);
  return CheckSense(write10);
}

}  // namespace ostria::storage
