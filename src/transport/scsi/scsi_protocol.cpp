// Sending of SCSI commands, and reads and writes of SBC. A drive says in sense data what became of
// a command, and not every drive knows the long CDBs.

#include "transport/scsi/scsi_protocol.h"

#include <algorithm>
#include <optional>

#include "base/sector_size.h"
#include "transport/command_recorder.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage {

namespace {

// Additional sense codes.
constexpr std::uint8_t kUnrecoveredRead = 0x11;
constexpr std::uint8_t kInterfaceError = 0x47;  // with qualifiers 0 to 5: parity and CRC

// READ(16) and WRITE(16) alone reach sectors from here on.
constexpr std::uint64_t kShortReach = std::uint64_t{1} << 32;

// The sense data that came back with a command, if they say anything.
std::optional<ScsiSense> senseOf(const ScsiCmd& command) {
  ScsiSense sense;
  if (command.senseLength == 0 || !succeeded(sense.Decode(command.sense))) {
    return std::nullopt;
  }
  return sense;
}

bool isRecovered(SenseKey key) {
  return key == SenseKey::NoSense || key == SenseKey::RecoveredError;
}

// A unit attention is news of an event (a reset, changed parameters) that goes out once, in place
// of the command, which was not executed. REQUEST SENSE gives it as its data.
bool metUnitAttention(const ScsiCmd& command) {
  constexpr std::uint8_t kRequestSense = 0x03;
  std::optional<ScsiSense> sense = senseOf(command);
  if (!sense && command.cdb[0] == kRequestSense && command.data != nullptr) {
    const auto bytes = std::min<std::uint64_t>(command.transferBytes, command.cdb[4]);
    ScsiSense returned;
    if (succeeded(returned.Decode(
            {static_cast<const std::uint8_t*>(command.data), static_cast<std::size_t>(bytes)}))) {
      sense = returned;
    }
  }
  return sense && sense->GetSenseKey() == SenseKey::UnitAttention;
}

// What sense data say about the medium or the way to it; `otherwise` when that is nothing.
ProtocolResult mediumVerdict(const ScsiSense& sense, ProtocolResult otherwise) {
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

// What became of a read or write that the sense check let pass. Data count only when all of them
// moved and the device said GOOD, or CHECK CONDITION for an error that it recovered from: a drive
// that is not ready, reserved or busy has read nothing.
ProtocolResult transferVerdict(const ScsiCmd& command, std::uint64_t asked) {
  const std::optional<ScsiSense> sense = senseOf(command);
  const bool recovered = sense && isRecovered(sense->GetSenseKey());
  if (sense) {
    const ProtocolResult verdict = mediumVerdict(
        *sense, recovered ? ProtocolResult::Success : ProtocolResult::ScsiStatusNotGood);
    if (!succeeded(verdict)) {
      return verdict;
    }
  }
  const bool good = command.hasStatus(ScsiStatus::Good) ||
                    (recovered && command.hasStatus(ScsiStatus::CheckCondition));
  return good && command.transferBytes >= asked ? ProtocolResult::Success
                                                : ProtocolResult::ScsiStatusNotGood;
}

}  // namespace

ProtocolResult ScsiProtocol::SendThroughBridges(ScsiCmd& command) {
  const std::uint64_t asked = command.transferBytes;
  const ProtocolResult result = OfferToBridges(command);
  if (CommandRecorder* const recorder = commandRecorder()) {
    recorder->noteScsi(command, asked, result);
  }
  return result;
}

ProtocolResult ScsiProtocol::OfferToBridges(ScsiCmd& command) {
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
  const std::optional<ScsiSense> sense = senseOf(command);
  return sense && sense->GetSenseKey() != SenseKey::IllegalRequest;
}

ProtocolResult ScsiProtocol::CheckSense(ScsiCmd& command) {
  const std::uint64_t asked = command.transferBytes;
  ProtocolResult result = SendThroughBridges(command);
  if (succeeded(result) && metUnitAttention(command)) {
    command.transferBytes = asked;
    command.scsiStatus = 0;
    command.sense = {};
    command.senseLength = 0;
    result = SendThroughBridges(command);
  }
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
  if (sectorSize < kSmallestSectorBytes || buffer == nullptr) {
    return ProtocolResult::InvalidArgument;
  }

  Read16 read16(buffer, lba, sectors, sectorSize);
  Read12 read12(buffer, lba, sectors, sectorSize);
  Read10 read10(buffer, lba, sectors, sectorSize);
  ScsiCmd* const levels[] = {&read16, &read12, &read10};
  const std::uint64_t asked = std::uint64_t{sectors} * sectorSize;
  for (;; ++readCdbLevel_) {
    // A cut address would read another sector.
    if (readCdbLevel_ > 0 && lba >= kShortReach) {
      return ProtocolResult::CommandUnusable;
    }
    ScsiCmd& command = *levels[readCdbLevel_];
    const ProtocolResult result = CheckSense(command);
    const std::optional<ScsiSense> sense = senseOf(command);
    lastReadMetHardwareError_ = sense && sense->GetSenseKey() == SenseKey::HardwareError;
    if (succeeded(result)) {
      return transferVerdict(command, asked);
    }
    if (readCdbLevel_ == 0 && properties_->totalSectors > kShortReach) {
      return ProtocolResult::CommandUnusable;
    }
    if (readCdbLevel_ == std::size(levels) - 1) {
      return sense ? mediumVerdict(*sense, result) : result;
    }
  }
}

ProtocolResult ScsiProtocol::Write(std::uint64_t lba, std::uint16_t sectors,
                                   std::uint64_t /*ignored*/, const void* buffer) {
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  if (sectorSize < kSmallestSectorBytes || buffer == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  // A command record has one buffer pointer for both directions; a data-out send only reads it.
  void* const source = const_cast<void*>(buffer);

  const std::uint64_t asked = std::uint64_t{sectors} * sectorSize;
  Write16 write16(source, lba, sectors, sectorSize);
  if (succeeded(CheckSense(write16))) {
    return transferVerdict(write16, asked);
  }
  // A cut address would overwrite another sector.
  if (properties_->totalSectors > kShortReach || lba >= kShortReach) {
    return ProtocolResult::CommandUnusable;
  }
  Write12 write12(source, lba, sectors, sectorSize);
  if (succeeded(CheckSense(write12))) {
    return transferVerdict(write12, asked);
  }
  Write10 write10(source, lba, sectors, sectorSize);
  const ProtocolResult result = CheckSense(write10);
  return succeeded(result) ? transferVerdict(write10, asked) : result;
}

ProtocolResult ScsiProtocol::StartSelfTest(std::uint8_t code, std::uint8_t /*second*/) {
  SendDiagnostic command(code);
  const ProtocolResult result = CheckSense(command);
  if (!succeeded(result)) {
    return result;
  }
  lastDiagnosticStatus_ = command.scsiStatus;
  const std::optional<ScsiSense> sense = senseOf(command);
  const SenseKey key = sense ? sense->GetSenseKey() : SenseKey::NoSense;
  // A foreground test is over by now, and these are its findings.
  if (key == SenseKey::MediumError || key == SenseKey::HardwareError) {
    return ProtocolResult::DeviceError;
  }
  const bool accepted = command.hasStatus(ScsiStatus::Good) ||
                        (command.hasStatus(ScsiStatus::CheckCondition) && sense);
  return accepted && isRecovered(key) ? ProtocolResult::Success : ProtocolResult::ScsiStatusNotGood;
}

}  // namespace ostria::storage
