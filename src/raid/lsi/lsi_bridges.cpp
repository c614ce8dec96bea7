#include "raid/lsi/lsi_bridges.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

namespace {

constexpr std::uint16_t timeoutSeconds = 30;
constexpr std::uint8_t hostToDeviceFis = 0x27;
constexpr std::uint8_t commandBit = 0x80;

constexpr std::size_t sspHeader = 64;
constexpr std::size_t sspStatusAt = 10;
constexpr std::uint8_t checkCondition = 2;
constexpr std::size_t sspCdbAt = 12;
constexpr std::size_t sspSenseAt = 28;
constexpr std::size_t sspDataLengthAt = 60;

constexpr std::size_t stpHeader = 60;
constexpr std::size_t stpFisAt = 8;
constexpr std::size_t stpStatusAt = 28;
constexpr std::size_t stpFisLengthAt = 32;
constexpr std::size_t stpDataLengthAt = 36;
constexpr std::size_t stpReplyFisAt = 40;
constexpr std::uint32_t fisBytes = 20;

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
  storeLe16(&buffer[2], timeoutSeconds);
  std::uint32_t flags = 4;
  if (command.dataDirection == DataDirection::FromDevice) flags = 1;
  if (command.dataDirection == DataDirection::ToDevice) flags = 2;
  if (command.command == 0xEC) flags += 16;
  if (command.features == 0xD4) flags += 0x100;
  storeLe32(&buffer[4], flags);
  const std::uint8_t fis[] = {hostToDeviceFis,         commandBit,
                              command.command,         command.features,
                              command.lbaLow,          command.lbaMid,
                              command.lbaHigh,         command.device,
                              command.lbaLowPrevious,  command.lbaMidPrevious,
                              command.lbaHighPrevious, command.featuresPrevious,
                              command.sectorCount,     command.sectorCountPrevious};
  std::copy(std::begin(fis), std::end(fis), buffer.begin() + stpFisAt);
  storeLe32(&buffer[stpFisLengthAt], fisBytes);
  storeLe32(&buffer[stpDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.dataDirection == DataDirection::ToDevice && command.data != nullptr)
    std::memcpy(&buffer[stpHeader], command.data, command.transferBytes);
}

}  // namespace

ProtocolResult LsiSspBridge::Send(ScsiCmd& command) {
  LsiCmd request(LsiCode::SspPassthrough, controllerId_, sspHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  storeLe16(&buffer[0], deviceId_);
  buffer[2] = 1;
  buffer[4] = directionOf(command.direction);
  storeLe16(&buffer[8], timeoutSeconds);
  buffer[11] = command.cdbLength;
  std::copy_n(std::begin(command.cdb), sizeof(command.cdb), buffer.begin() + sspCdbAt);
  storeLe32(&buffer[sspDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.direction == DataDirection::ToDevice && command.data != nullptr)
    std::memcpy(&buffer[sspHeader], command.data, command.transferBytes);

  if (sender_ == nullptr) return ProtocolResult::Failure;
  const std::uint32_t result = sender_->execute(request);
  // Sense data belong to a CHECK CONDITION whatever the library made of it: without them a failed
  // read would look like a good one.
  if (result != 0 || buffer[sspStatusAt] == checkCondition) {
    command.senseLength = sizeof(command.sense);
    std::memcpy(&command.sense[0], &buffer[sspSenseAt], sizeof(command.sense));
  }
  if (result == 0 && command.direction == DataDirection::FromDevice && command.transferBytes != 0 &&
      command.data != nullptr) {
    const std::uint64_t returned =
        std::min<std::uint64_t>(loadLe32(&buffer[sspDataLengthAt]), command.transferBytes);
    std::memcpy(command.data, &buffer[sspHeader], returned);
    command.transferBytes = returned;
  }
  command.scsiStatus = buffer[sspStatusAt];
  return static_cast<ProtocolResult>(result);
}

ProtocolResult LsiStpBridge::Send(AtaCmd& command) {
  LsiCmd request(LsiCode::StpPassthrough, controllerId_, stpHeader + command.transferBytes);
  request.record.deviceId = deviceId_;
  std::vector<std::uint8_t>& buffer = request.buffer();
  fillStp(buffer, command, deviceId_);

  if (sender_ == nullptr) return ProtocolResult::Failure;
  if (sender_->execute(request) != 0 || loadLe32(&buffer[stpStatusAt]) != 0)
    return ProtocolResult::TransportFailure;

  const std::uint8_t* fis = &buffer[stpReplyFisAt];
  command.command = fis[2];
  command.features = fis[3];
  command.lbaLow = fis[4];
  command.lbaMid = fis[5];
  command.lbaHigh = fis[6];
  command.device = fis[7];
  command.sectorCount = fis[12];
  if (command.dataDirection == DataDirection::FromDevice && command.data != nullptr)
    std::memcpy(command.data, &buffer[stpHeader], command.transferBytes);
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
