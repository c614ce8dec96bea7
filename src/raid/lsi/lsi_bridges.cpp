#include "raid/lsi/lsi_bridges.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

namespace {

constexpr std::uint16_t kTimeoutSeconds = 30;
constexpr std::uint8_t kHostToDeviceFis = 0x27;
constexpr std::uint8_t kCommandBit = 0x80;

constexpr std::size_t kSspHeader = 64;
constexpr std::size_t kSspStatusAt = 10;
constexpr std::uint8_t kCheckCondition = 2;
constexpr std::size_t kSspCdbAt = 12;
constexpr std::size_t kSspSenseAt = 28;
constexpr std::size_t kSspDataLengthAt = 60;

constexpr std::size_t kStpHeader = 60;
constexpr std::size_t kStpFisAt = 8;
constexpr std::size_t kStpStatusAt = 28;
constexpr std::size_t kStpFisLengthAt = 32;
constexpr std::size_t kStpDataLengthAt = 36;
constexpr std::size_t kStpReplyFisAt = 40;
constexpr std::uint32_t kFisBytes = 20;

std::uint8_t directionOf(DataDirection direction) {
  switch (direction) {
    case DataDirection::FromDevice:
      return 2;
    case DataDirection::ToDevice:
      return 1;
    default:
      return 0;
  }
}

void fillStp(std::vector<std::uint8_t>& buffer, const AtaCmd& command, std::uint16_t deviceId) {
  buffer[0] = static_cast<std::uint8_t>(deviceId);
  buffer[1] = directionOf(command.dataDirection);
  storeLe16(&buffer[2], kTimeoutSeconds);
  std::uint32_t flags = 4;
  if (command.dataDirection == DataDirection::FromDevice) {
    flags = 1;
  }
  if (command.dataDirection == DataDirection::ToDevice) {
    flags = 2;
  }
  if (command.command == 0xEC) {
    flags += 16;
  }
  if (command.features == 0xD4) {
    flags += 0x100;
  }
  storeLe32(&buffer[4], flags);
  const std::uint8_t fis[] = {kHostToDeviceFis,        kCommandBit,
                              command.command,         command.features,
                              command.lbaLow,          command.lbaMid,
                              command.lbaHigh,         command.device,
                              command.lbaLowPrevious,  command.lbaMidPrevious,
                              command.lbaHighPrevious, command.featuresPrevious,
                              command.sectorCount,     command.sectorCountPrevious};
  std::copy(std::begin(fis), std::end(fis), buffer.begin() + kStpFisAt);
  storeLe32(&buffer[kStpFisLengthAt], kFisBytes);
  storeLe32(&buffer[kStpDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.dataDirection == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer[kStpHeader], command.data, command.transferBytes);
  }
}

}  // namespace

ProtocolResult LsiSspBridge::Send(ScsiCmd& command) {
  LsiCmd request(LsiCode::SspPassthrough, controllerId_, kSspHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  storeLe16(&buffer[0], deviceId_);
  buffer[2] = 1;
  buffer[4] = directionOf(command.direction);
  storeLe16(&buffer[8], kTimeoutSeconds);
  buffer[11] = command.cdbLength;
  std::copy_n(std::begin(command.cdb), sizeof(command.cdb), buffer.begin() + kSspCdbAt);
  storeLe32(&buffer[kSspDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.direction == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer[kSspHeader], command.data, command.transferBytes);
  }

  if (sender_ == nullptr) {
    return ProtocolResult::Failure;
  }
  const std::uint32_t result = sender_->execute(request);
  // Sense data belong to a CHECK CONDITION whatever the library made of it: without them a failed
  // read would look like a good one.
  if (result != 0 || buffer[kSspStatusAt] == kCheckCondition) {
    command.senseLength = sizeof(command.sense);
    std::memcpy(&command.sense[0], &buffer[kSspSenseAt], sizeof(command.sense));
  }
  if (result == 0 && command.direction == DataDirection::FromDevice && command.transferBytes != 0 &&
      command.data != nullptr) {
    const std::uint64_t returned =
        std::min<std::uint64_t>(loadLe32(&buffer[kSspDataLengthAt]), command.transferBytes);
    std::memcpy(command.data, &buffer[kSspHeader], returned);
    command.transferBytes = returned;
  }
  command.scsiStatus = buffer[kSspStatusAt];
  return static_cast<ProtocolResult>(result);
}

ProtocolResult LsiStpBridge::Send(AtaCmd& command) {
  LsiCmd request(LsiCode::StpPassthrough, controllerId_, kStpHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  fillStp(buffer, command, deviceId_);

  if (sender_ == nullptr) {
    return ProtocolResult::Failure;
  }
  if (sender_->execute(request) != 0 || loadLe32(&buffer[kStpStatusAt]) != 0) {
    return ProtocolResult::TransportFailure;
  }

  const std::uint8_t* fis = &buffer[kStpReplyFisAt];
  command.command = fis[2];
  command.features = fis[3];
  command.lbaLow = fis[4];
  command.lbaMid = fis[5];
  command.lbaHigh = fis[6];
  command.device = fis[7];
  command.sectorCount = fis[12];
  if (command.dataDirection == DataDirection::FromDevice && command.data != nullptr) {
    std::memcpy(command.data, &buffer[kStpHeader], command.transferBytes);
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
