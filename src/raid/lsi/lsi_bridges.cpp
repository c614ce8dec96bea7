// SCSI and ATA to drives behind an LSI controller: the pass-through headers of the vendor library,
// in front of the data in one block.
#include "raid/lsi/lsi_bridges.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "base/byte_order.h"
#include "raid/lsi/lsi_pass_through.h"
#include "raid/register_fis.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_sense.h"

namespace ostria::storage {

namespace {

constexpr std::uint16_t kTimeoutSeconds = 30;
constexpr auto kCheckCondition = static_cast<std::uint8_t>(ScsiStatus::CheckCondition);

std::uint8_t directionOf(DataDirection direction) {
  switch (direction) {
    case DataDirection::FromDevice:
      return lsi::kFromDrive;
    case DataDirection::ToDevice:
      return lsi::kToDrive;
    default:
      return lsi::kNoData;
  }
}

void fillStp(std::vector<std::uint8_t>& buffer, const AtaCmd& command, std::uint16_t deviceId) {
  buffer[0] = static_cast<std::uint8_t>(deviceId);
  buffer[lsi::kStpDirectionAt] = directionOf(command.dataDirection);
  storeLe16(&buffer[lsi::kStpTimeoutAt], kTimeoutSeconds);
  std::uint32_t flags = 4;
  if (command.dataDirection == DataDirection::FromDevice) {
    flags = 1;
  }
  if (command.dataDirection == DataDirection::ToDevice) {
    flags = 2;
  }
  if (command.command == ata::IdentifyDevice) {
    flags += 16;
  }
  if (command.features == ata::SmartExecuteOffline) {
    flags += 0x100;
  }
  storeLe32(&buffer[lsi::kStpFlagsAt], flags);
  const auto fis = hostToDeviceFis(command);
  std::copy(fis.begin(), fis.end(), buffer.begin() + lsi::kStpFisAt);
  storeLe32(&buffer[lsi::kStpFisLengthAt], lsi::kFisBytes);
  storeLe32(&buffer[lsi::kStpDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.dataDirection == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer[lsi::kStpHeader], command.data, command.transferBytes);
  }
}

/// The sense key of a reply; nothing when it holds no sense data that can be decoded.
std::optional<SenseKey> senseKeyOf(const std::vector<std::uint8_t>& buffer) {
  ScsiSense sense;
  if (!succeeded(sense.Decode(std::span(buffer).subspan(lsi::kSspSenseAt, lsi::kSspSenseBytes)))) {
    return std::nullopt;
  }
  return sense.GetSenseKey();
}

}  // namespace

ProtocolResult LsiSspBridge::Send(ScsiCmd& command) {
  LsiCmd request(LsiCode::SspPassthrough, controllerId_, lsi::kSspHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  storeLe16(&buffer[0], deviceId_);
  buffer[2] = 1;
  buffer[lsi::kSspDirectionAt] = directionOf(command.direction);
  storeLe16(&buffer[lsi::kSspTimeoutAt], kTimeoutSeconds);
  buffer[lsi::kSspCdbLengthAt] = command.cdbLength;
  std::copy_n(std::begin(command.cdb), sizeof(command.cdb), buffer.begin() + lsi::kSspCdbAt);
  storeLe32(&buffer[lsi::kSspDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.direction == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer[lsi::kSspHeader], command.data, command.transferBytes);
  }

  if (sender_ == nullptr) {
    return ProtocolResult::Failure;
  }
  // The library's own numbers are no `ProtocolResult`. A command that it calls failed was answered
  // by its drive if there is CHECK CONDITION, or sense data that can be decoded.
  const bool passed = sender_->execute(request) == 0;
  const std::optional<SenseKey> key = passed ? std::nullopt : senseKeyOf(buffer);
  const bool answered = passed || key || buffer[lsi::kSspStatusAt] == kCheckCondition;
  // Sense data belong to a CHECK CONDITION whatever the library made of it: without them a failed
  // read would look like a good one.
  if (!passed || buffer[lsi::kSspStatusAt] == kCheckCondition) {
    command.senseLength = sizeof(command.sense);
    std::memcpy(&command.sense[0], &buffer[lsi::kSspSenseAt], sizeof(command.sense));
  }
  if (command.direction == DataDirection::FromDevice) {
    // Of a command that failed the length is still the one that was asked for; its data came only
    // if the drive recovered them.
    const bool moved = passed || key == SenseKey::RecoveredError;
    const std::uint64_t returned =
        moved ? std::min<std::uint64_t>(loadLe32(&buffer[lsi::kSspDataLengthAt]),
                                        command.transferBytes)
              : 0;
    if (command.data != nullptr) {
      std::memcpy(command.data, &buffer[lsi::kSspHeader], returned);
    }
    command.transferBytes = returned;
  }
  command.scsiStatus = buffer[lsi::kSspStatusAt];
  return answered ? ProtocolResult::Success : ProtocolResult::TransportFailure;
}

ProtocolResult LsiStpBridge::Send(AtaCmd& command) {
  LsiCmd request(LsiCode::StpPassthrough, controllerId_, lsi::kStpHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  fillStp(buffer, command, deviceId_);

  if (sender_ == nullptr) {
    return ProtocolResult::Failure;
  }
  if (sender_->execute(request) != 0 || loadLe32(&buffer[lsi::kStpStatusAt]) != 0) {
    return ProtocolResult::TransportFailure;
  }

  takeRegisters(std::span(buffer).subspan(lsi::kStpReplyFisAt), command);
  if (command.dataDirection == DataDirection::FromDevice && command.data != nullptr) {
    std::memcpy(command.data, &buffer[lsi::kStpHeader], command.transferBytes);
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
