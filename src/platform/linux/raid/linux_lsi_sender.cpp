// LSI controllers through the kernel's driver. The blocks that the controllers answer with are
// those of lsi_layout.h, whoever asks; only the way to them differs. Of a frame the driver brings
// back its status, the sense data and the blocks, but neither the drive's own status byte nor how
// many bytes were moved, so both are found otherwise.
#include "platform/linux/raid/linux_lsi_sender.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>

#include "base/byte_order.h"
#include "platform/linux/passthrough/read_only.h"
#include "platform/linux/raid/data_mark.h"
#include "platform/linux/raid/megaraid_packet.h"
#include "raid/lsi/lsi_layout.h"
#include "raid/lsi/lsi_pass_through.h"
#include "raid/register_fis.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {
namespace {

constexpr std::uint32_t kErrno = 256;
constexpr std::uint32_t kNotSupported = kErrno + EOPNOTSUPP;
constexpr std::uint32_t kBadBuffer = kErrno + EINVAL;
constexpr std::uint32_t kNoAnswer = kErrno + EIO;
constexpr std::uint32_t kReadOnly = kErrno + EROFS;
constexpr auto kCheckCondition = static_cast<std::uint8_t>(ScsiStatus::CheckCondition);
constexpr std::uint16_t kLargestTarget = 255;
// What the kernel's own driver asks for; older firmware knows no more.
constexpr std::size_t kOldControllerInfoBytes = 2048;
constexpr std::size_t kOldConfigurationBytes = 4096;
constexpr std::size_t kOldLogicalListBytes = lsi::kFirstLogicalDrive + 64 * lsi::kLogicalDriveBytes;

// Inside the configuration's record of an array.
constexpr std::size_t kArrayDrivesAt = 8;  // 8 bits
constexpr std::size_t kArrayNumberAt = 10;
constexpr std::size_t kArrayMembersAt = 32;
constexpr std::size_t kArrayMemberBytes = 8;

mfi::Packet packetFor(std::uint32_t controller, mfi::Command command, std::size_t blocksAt) {
  mfi::Packet packet;
  packet.host = static_cast<std::uint16_t>(controller);
  packet.blocksAt = static_cast<std::uint32_t>(blocksAt);
  packet.frame[mfi::kCommandAt] = static_cast<std::uint8_t>(command);
  packet.frame[mfi::kStatusAt] = mfi::kStatusUnset;
  return packet;
}

void addBlock(mfi::Packet& packet, void* data, std::size_t bytes) {
  mfi::setBlock(packet, packet.blockCount, iovec{data, bytes});
  ++packet.blockCount;
  packet.frame[mfi::kBlockCountAt] = static_cast<std::uint8_t>(packet.blockCount);
}

DataDirection directionOf(std::uint8_t code) {
  switch (code) {
    case lsi::kFromDrive:
      return DataDirection::FromDevice;
    case lsi::kToDrive:
      return DataDirection::ToDevice;
    default:
      return DataDirection::None;
  }
}

void setTransfer(mfi::Packet& packet, DataDirection direction, std::size_t bytes,
                 std::uint16_t timeout) {
  std::uint16_t flags = 0;
  if (direction == DataDirection::FromDevice) {
    flags = mfi::kFlagFromDevice;
  } else if (direction == DataDirection::ToDevice) {
    flags = mfi::kFlagToDevice;
  }
  storeLe16(&packet.frame[mfi::kFlagsAt], flags);
  storeLe16(&packet.frame[mfi::kTimeoutAt], timeout);
  storeLe32(&packet.frame[mfi::kTransferBytesAt], static_cast<std::uint32_t>(bytes));
}

/// The data behind a pass-through header, or nothing when header and record disagree.
std::optional<std::span<std::uint8_t>> dataBehind(std::vector<std::uint8_t>& buffer,
                                                  std::size_t header, std::size_t lengthAt) {
  if (buffer.size() < header || loadLe32(&buffer[lengthAt]) > buffer.size() - header) {
    return std::nullopt;
  }
  return std::span(buffer).subspan(header, loadLe32(&buffer[lengthAt]));
}

bool anySet(std::span<const std::uint8_t> bytes) {
  return std::any_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
}

}  // namespace

std::uint32_t LinuxLsiSender::execute(LsiCmd& command) {
  const LsiRecord& record = command.record;
  std::vector<std::uint8_t>& buffer = command.buffer();
  const auto code = static_cast<LsiCode>(record.command | record.group << 8);
  if (code == LsiCode::GetControllerList) {
    return listControllers(command);
  }
  if (record.controllerId > 0xFFFF) {
    return kErrno + ENODEV;
  }
  switch (code) {
    case LsiCode::GetControllerInfo:
      return ask(record.controllerId, mfi::Opcode::ControllerInfo, {}, buffer,
                 kOldControllerInfoBytes);
    case LsiCode::GetControllerProperties: {
      // With a 1 the controller may list more than 64; those that know no such list refuse it.
      const std::uint32_t result =
          ask(record.controllerId, mfi::Opcode::LogicalList, {1}, buffer, buffer.size());
      return result == 0 || result >= kErrno ? result
                                             : ask(record.controllerId, mfi::Opcode::LogicalList,
                                                   {}, buffer, kOldLogicalListBytes);
    }
    case LsiCode::GetDriveList:
      return ask(record.controllerId, mfi::Opcode::DriveList, {}, buffer, buffer.size());
    case LsiCode::GetPdinfo:
      return ask(record.controllerId, mfi::Opcode::DriveInfo, {record.deviceId}, buffer,
                 buffer.size());
    case LsiCode::GetDriveInfo:
      return ask(record.controllerId, mfi::Opcode::LogicalInfo, {record.deviceId}, buffer,
                 buffer.size());
    case LsiCode::GetConfiguration:
      return readConfiguration(record.controllerId, buffer);
    case LsiCode::GetArrayInfo:
      return listArray(command);
    case LsiCode::SspPassthrough:
      return sendScsi(command);
    case LsiCode::StpPassthrough:
      return sendAta(command);
    default:
      return kNotSupported;
  }
}

std::uint32_t LinuxLsiSender::send(mfi::Packet& packet) {
  if (const int error = driver_->send(packet); error != 0) {
    return kErrno + static_cast<std::uint32_t>(error);
  }
  return packet.frame[mfi::kStatusAt];
}

std::uint32_t LinuxLsiSender::ask(std::uint32_t controller, mfi::Opcode opcode, Mailbox mailbox,
                                  std::vector<std::uint8_t>& answer, std::size_t bytes) {
  bytes = std::min(bytes, answer.size());
  std::fill(answer.begin(), answer.end(), std::uint8_t{0});
  mfi::Packet packet = packetFor(controller, mfi::Command::Controller, mfi::kControllerBlocksAt);
  setTransfer(packet, DataDirection::FromDevice, bytes, 0);
  storeLe32(&packet.frame[mfi::kOpcodeAt], static_cast<std::uint32_t>(opcode));
  storeLe16(&packet.frame[mfi::kMailboxAt], mailbox.first);
  addBlock(packet, answer.data(), bytes);
  const std::uint32_t result = send(packet);
  // An answer without a byte set is none: every one of them begins with a number or an identity,
  // but for lists, where it says that there is nothing.
  const bool list = opcode == mfi::Opcode::DriveList || opcode == mfi::Opcode::LogicalList ||
                    opcode == mfi::Opcode::Configuration;
  return result == 0 && !list && !anySet(answer) ? kNoAnswer : result;
}

std::uint32_t LinuxLsiSender::listControllers(LsiCmd& command) {
  std::vector<std::uint8_t>& buffer = command.buffer();
  if (buffer.size() < lsi::kFirstControllerId) {
    return kBadBuffer;
  }
  std::fill(buffer.begin(), buffer.end(), std::uint8_t{0});
  const std::size_t room = (buffer.size() - lsi::kFirstControllerId) / 4;
  std::uint32_t count = 0;
  for (const std::uint32_t controller : driver_->controllers()) {
    if (count < room) {
      storeLe32(&buffer[lsi::kFirstControllerId + std::size_t{4} * count++], controller);
    }
  }
  storeLe32(buffer.data(), count);
  return 0;
}

std::uint32_t LinuxLsiSender::readConfiguration(std::uint32_t controller,
                                                std::vector<std::uint8_t>& answer) {
  const std::uint32_t result =
      ask(controller, mfi::Opcode::Configuration, {}, answer, answer.size());
  return result == 0 || result >= kErrno
             ? result
             : ask(controller, mfi::Opcode::Configuration, {}, answer, kOldConfigurationBytes);
}

std::uint32_t LinuxLsiSender::listArray(LsiCmd& command) {
  std::vector<std::uint8_t>& buffer = command.buffer();
  if (buffer.size() < lsi::kFirstArrayMember) {
    return kBadBuffer;
  }
  std::vector<std::uint8_t> all(lsi::kConfigurationBytes);
  if (const std::uint32_t result = readConfiguration(command.record.controllerId, all);
      result != 0) {
    return result;
  }
  std::fill(buffer.begin(), buffer.end(), std::uint8_t{0});
  const std::size_t arrayBytes = loadLe16(&all[lsi::kArrayBytesAt]);
  if (arrayBytes < kArrayMembersAt) {
    return kNoAnswer;
  }
  std::size_t at = lsi::kFirstArray;
  for (std::size_t left = loadLe16(&all[lsi::kArrayCountAt]);
       left > 0 && at + arrayBytes <= all.size(); --left, at += arrayBytes) {
    if (loadLe16(&all[at + kArrayNumberAt]) != command.record.subIndex) {
      continue;
    }
    const std::size_t members = std::min<std::size_t>(
        {all[at + kArrayDrivesAt], (arrayBytes - kArrayMembersAt) / kArrayMemberBytes,
         (buffer.size() - lsi::kFirstArrayMember) / 2});
    storeLe32(buffer.data(), static_cast<std::uint32_t>(members));
    for (std::size_t i = 0; i < members; ++i) {
      storeLe16(&buffer[lsi::kFirstArrayMember + 2 * i],
                loadLe16(&all[at + kArrayMembersAt + i * kArrayMemberBytes]));
    }
    return 0;
  }
  return kNoAnswer;
}

std::uint32_t LinuxLsiSender::sendScsi(LsiCmd& command) {
  std::vector<std::uint8_t>& buffer = command.buffer();
  const auto data = dataBehind(buffer, lsi::kSspHeader, lsi::kSspDataLengthAt);
  if (!data || buffer[lsi::kSspCdbLengthAt] > mfi::kCdbBytes) {
    return kBadBuffer;
  }
  if (command.record.deviceId > kLargestTarget) {
    return kErrno + ENXIO;
  }
  SgCommand looked;
  looked.cdbLength = buffer[lsi::kSspCdbLengthAt];
  std::copy_n(&buffer[lsi::kSspCdbAt], looked.cdb.size(), looked.cdb.begin());
  looked.direction = directionOf(buffer[lsi::kSspDirectionAt]);
  if (isReadOnly() && changesMedium(looked)) {
    return kReadOnly;
  }

  const bool reads = looked.direction == DataDirection::FromDevice && !data->empty();
  std::uint8_t* const sense = &buffer[lsi::kSspSenseAt];
  std::fill_n(sense, lsi::kSspSenseBytes, std::uint8_t{0});
  mfi::Packet packet =
      packetFor(command.record.controllerId, mfi::Command::ScsiToDrive, mfi::kScsiBlocksAt);
  setTransfer(packet, data->empty() ? DataDirection::None : looked.direction, data->size(),
              loadLe16(&buffer[lsi::kSspTimeoutAt]));
  packet.frame[mfi::kTargetAt] = static_cast<std::uint8_t>(command.record.deviceId);
  packet.frame[mfi::kCdbLengthAt] = looked.cdbLength;
  std::copy(looked.cdb.begin(), looked.cdb.end(), &packet.frame[mfi::kCdbAt]);
  // The driver puts its own address there, and takes ours as the one to copy to.
  packet.senseAt = mfi::kSenseAddressAt;
  packet.senseBytes = lsi::kSspSenseBytes;
  packet.frame[mfi::kSenseBytesAt] = lsi::kSspSenseBytes;
  std::memcpy(&packet.frame[mfi::kSenseAddressAt], &sense, sizeof(sense));
  if (!data->empty()) {
    addBlock(packet, data->data(), data->size());
  }
  std::optional<DataMark> mark;
  if (reads) {
    mark.emplace(*data);
  }

  const std::uint32_t result = send(packet);
  const std::size_t moved = mark ? mark->movedBytes() : data->size();
  // BUSY or a reservation leave no sense data, and no way to tell them apart.
  buffer[lsi::kSspStatusAt] =
      result == mfi::kStatusScsiError && anySet({sense, lsi::kSspSenseBytes}) ? kCheckCondition : 0;
  if (reads) {
    storeLe32(&buffer[lsi::kSspDataLengthAt], result == 0 || buffer[lsi::kSspStatusAt] != 0
                                                  ? static_cast<std::uint32_t>(moved)
                                                  : 0);
  }
  return result;
}

std::uint32_t LinuxLsiSender::sendAta(LsiCmd& command) {
  std::vector<std::uint8_t>& buffer = command.buffer();
  const auto data = dataBehind(buffer, lsi::kStpHeader, lsi::kStpDataLengthAt);
  if (!data) {
    return kBadBuffer;
  }
  if (command.record.deviceId > kLargestTarget) {
    return kErrno + ENXIO;
  }
  const DataDirection direction = directionOf(buffer[lsi::kStpDirectionAt]);
  // Looked at in the form that the other ways to an ATA drive have.
  SgCommand looked;
  looked.cdb[0] = scsi::AtaPassThrough16;
  looked.cdb[4] = buffer[lsi::kStpFisAt + 3];
  looked.cdb[14] = buffer[lsi::kStpFisAt + 2];
  looked.direction = direction;
  if (isReadOnly() && changesMedium(looked)) {
    return kReadOnly;
  }

  const bool reads = direction == DataDirection::FromDevice && !data->empty();
  mfi::Packet packet =
      packetFor(command.record.controllerId, mfi::Command::AtaToDrive, mfi::kAtaBlocksAt);
  setTransfer(packet, data->empty() ? DataDirection::None : direction, data->size(),
              loadLe16(&buffer[lsi::kStpTimeoutAt]));
  packet.frame[mfi::kTargetAt] = static_cast<std::uint8_t>(command.record.deviceId);
  std::copy_n(&buffer[lsi::kStpFisAt], lsi::kFisBytes, &packet.frame[mfi::kFisAt]);
  std::copy_n(&buffer[lsi::kStpFlagsAt], 4, &packet.frame[mfi::kAtaFlagsAt]);
  const std::span reply = std::span(buffer).subspan(lsi::kStpReplyFisAt, lsi::kFisBytes);
  std::fill(reply.begin(), reply.end(), std::uint8_t{0});
  addBlock(packet, reply.data(), reply.size());
  if (!data->empty()) {
    addBlock(packet, data->data(), data->size());
  }
  std::optional<DataMark> mark;
  if (reads) {
    mark.emplace(*data);
  }

  const std::uint32_t result = send(packet);
  const std::size_t moved = mark ? mark->movedBytes() : data->size();
  storeLe32(&buffer[lsi::kStpStatusAt], result);
  if (result >= kErrno) {
    return result;
  }
  // The drive's registers are its answer, also when the controller calls the command failed;
  // without them nobody knows what became of it. Of ATA reads all sectors come, or an error.
  const bool answered = showsRegisters(reply);
  const bool failed = (statusOf(reply) & ata::StatusError) != 0;
  if (!answered || (result != 0 && !failed) || (!failed && moved != data->size())) {
    storeLe32(&buffer[lsi::kStpStatusAt], kNoAnswer);
    return result != 0 ? result : kNoAnswer;
  }
  storeLe32(&buffer[lsi::kStpStatusAt], 0);
  return 0;
}

}  // namespace ostria::storage
