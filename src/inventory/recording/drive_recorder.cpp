// Commands are recorded by a list of what asks about a drive (ACS, SPC, NVMe): a list of what must
// not be kept would have to know every command that moves data of a user.
#include "inventory/recording/drive_recorder.h"

#include <algorithm>

#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {
namespace {

constexpr std::uint8_t kScsiQuestions[] = {
    scsi::RequestSense, scsi::Inquiry,     scsi::ModeSense6,       scsi::ReadCapacity10,
    scsi::LogSense,     scsi::ModeSense10, scsi::ServiceActionIn16};
constexpr std::uint32_t kNvmeGetLog = 0x02;
constexpr std::uint32_t kNvmeIdentify = 0x06;

bool isQuestion(const AtaCmd& command) {
  switch (command.command) {
    case ata::IdentifyDevice:
    case ata::ReadLogExt:
    case ata::CheckPowerMode:
      return true;
    case ata::Smart:
      return command.features == ata::SmartReadData ||
             command.features == ata::SmartReadThresholds ||
             command.features == ata::SmartReadLog || command.features == ata::SmartReturnStatus;
    default:
      return false;
  }
}

/// What a command asks for, without how much of it.
std::array<std::uint8_t, 7> nameOf(const std::array<std::uint8_t, 16>& cdb) {
  switch (cdb[0]) {
    case scsi::Inquiry:
      return {cdb[0], cdb[1], cdb[2]};
    case scsi::ModeSense6:
    case scsi::ModeSense10:
      return {cdb[0], cdb[1], cdb[2], cdb[3]};
    case scsi::LogSense:
      return {cdb[0], cdb[1], cdb[2], cdb[3], 0, cdb[5], cdb[6]};
    case scsi::ReadCapacity10:
      return {cdb[0]};
    default:
      return {cdb[0], cdb[1]};
  }
}

Bytes bytesOf(const void* data, std::uint64_t count) {
  const auto* first = static_cast<const std::uint8_t*>(data);
  return data != nullptr ? Bytes(first, first + count) : Bytes();
}

template <typename Answer, typename Same>
void keep(std::vector<Answer>& answers, const Answer& answer, Same same) {
  const auto found = std::ranges::find_if(answers, same);
  if (found != answers.end()) {
    *found = answer;
  } else {
    answers.push_back(answer);
  }
}

}  // namespace

void DriveRecorder::noteAta(const AtaCmd& asked, const AtaCmd& answered, ProtocolResult result) {
  const bool spoke = succeeded(result) || result == ProtocolResult::NoDataReturned;
  // Without registers the drive has done the command, and nothing more is known.
  const bool silent = result == ProtocolResult::RegistersUnavailable;
  if (!isQuestion(asked) || (!spoke && !silent && result != ProtocolResult::TransportFailure)) {
    return;
  }
  AtaAnswer answer;
  answer.command = asked.command;
  answer.features = asked.features;
  if (asked.command == ata::ReadLogExt) {
    answer.lbaMid = static_cast<std::uint16_t>(asked.lbaMid | asked.lbaMidPrevious << 8);
  }
  if (asked.command == ata::ReadLogExt || asked.features == ata::SmartReadLog) {
    answer.lbaLow = asked.lbaLow;
  }
  answer.ending = spoke || silent ? Ending::Answered : Ending::Lost;
  constexpr std::uint8_t kReady = 0x50;
  answer.status = kReady;
  if (spoke) {
    answer.error = answered.features;
    answer.status = answered.command;
    answer.count = answered.sectorCount;
  }
  if (asked.command == ata::Smart && asked.features == ata::SmartReturnStatus) {
    answer.signature =
        spoke ? static_cast<std::uint16_t>(answered.lbaHigh << 8 | answered.lbaMid) : 0;
  }
  if (succeeded(result) && !isRefused(answered) &&
      asked.dataDirection == DataDirection::FromDevice) {
    answer.data = bytesOf(answered.data, std::min(answered.transferBytes, asked.transferBytes));
  }
  keep(ata, answer, [&](const AtaAnswer& other) {
    return other.command == asked.command && other.features == asked.features &&
           other.lbaLow == answer.lbaLow && other.lbaMid == answer.lbaMid;
  });
}

void DriveRecorder::noteScsi(const ScsiCmd& answered, std::uint64_t askedBytes,
                             ProtocolResult result) {
  if (std::ranges::find(kScsiQuestions, answered.cdb[0]) == std::end(kScsiQuestions) ||
      (!succeeded(result) && result != ProtocolResult::TransportFailure)) {
    return;
  }
  ScsiAnswer answer;
  answer.cdb = answered.cdb;
  answer.cdbLength = answered.cdbLength;
  answer.ending = succeeded(result) ? Ending::Answered : Ending::Lost;
  if (succeeded(result)) {
    answer.status = answered.scsiStatus;
    answer.sense = bytesOf(answered.sense.data(),
                           std::min<std::uint64_t>(answered.senseLength, answered.sense.size()));
    answer.data = bytesOf(answered.data, std::min(answered.transferBytes, askedBytes));
  }
  keep(scsi, answer,
       [&](const ScsiAnswer& other) { return nameOf(other.cdb) == nameOf(answered.cdb); });
}

void DriveRecorder::noteNvme(const NvmeCmd& answered, ProtocolResult result) {
  const bool identify = answered.opcode == kNvmeIdentify;
  if (answered.ioQueue != 0 || (!identify && answered.opcode != kNvmeGetLog)) {
    return;
  }
  NvmeAnswer answer;
  answer.opcode = static_cast<std::uint8_t>(answered.opcode);
  answer.select = static_cast<std::uint8_t>(answered.cdw10);
  answer.namespaceId = identify && answer.select == 0 ? answered.namespaceId : 0;
  answer.identifier =
      identify ? std::uint16_t{0} : static_cast<std::uint16_t>(answered.cdw11 >> 16);
  answer.refused = !succeeded(result);
  if (!answer.refused) {
    answer.data = bytesOf(answered.data, answered.transferBytes);
  }
  keep(nvme, answer, [&](const NvmeAnswer& other) {
    return other.opcode == answer.opcode && other.select == answer.select &&
           other.namespaceId == answer.namespaceId && other.identifier == answer.identifier;
  });
}

const Bytes* DriveRecorder::ataPage(std::uint8_t command, std::uint8_t features) const {
  const auto found = std::ranges::find_if(ata, [&](const AtaAnswer& answer) {
    return answer.command == command && answer.features == features &&
           answer.data.size() == kAtaPageBytes;
  });
  return found != ata.end() ? &found->data : nullptr;
}

const NvmeAnswer* DriveRecorder::identify(std::uint8_t select) const {
  const auto found = std::ranges::find_if(nvme, [&](const NvmeAnswer& answer) {
    return answer.opcode == kNvmeIdentify && answer.select == select && !answer.refused;
  });
  return found != nvme.end() ? &*found : nullptr;
}

}  // namespace ostria::storage
