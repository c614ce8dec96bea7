// Which recorded answer a command gets: it is named by what it asks for, not by how much of it.
#include "virtual_pc/drives/recorded_answers.h"

#include <algorithm>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_commands.h"
#include "virtual_pc/drives/device_model.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

using storage::byteOf;
using storage::loadBe16;
using storage::loadBe32;

namespace {

constexpr std::uint8_t kNvmeIdentify = 0x06;

void give(const RecordedData& data, std::size_t room, Exchange& exchange) {
  std::vector<std::uint8_t> whole = data.head;
  whole.resize(std::min<std::size_t>(data.bytes, room));
  exchange.answer(whole.data(), whole.size());
}

bool endsInTransport(std::uint32_t error, Exchange& exchange) {
  if (error == 0) {
    return false;
  }
  exchange.delivery = Delivery::TransportError;
  exchange.transportError = error;
  return true;
}

bool isFor(const RecordedAta& answer, const AtaTaskFile& in) {
  if (answer.command != in.command) {
    return false;
  }
  const std::uint8_t log = byteOf(in.lbaLow, 0);
  if (in.command == ata::ReadLogExt) {
    return answer.lbaLow == log && answer.lbaMid == in.lbaMid;
  }
  const std::uint8_t subcommand = byteOf(in.features, 0);
  return in.command != ata::Smart || (answer.features == subcommand &&
                                      (subcommand != ata::SmartReadLog || answer.lbaLow == log));
}

/// The bytes of a CDB that say what is asked for; the others say how much of it.
struct ScsiName {
  std::uint8_t opcode;
  std::uint16_t mask;  ///< bit n: byte n of the CDB
  std::uint8_t allocationAt;
  std::uint8_t allocationBytes;
};
constexpr ScsiName kScsiNames[] = {
    {scsi::RequestSense, 0x0002, 4, 1},       {scsi::Inquiry, 0x0006, 3, 2},
    {scsi::ModeSense6, 0x000E, 4, 1},         {scsi::ReadCapacity10, 0x0000, 0, 0},
    {scsi::LogSense, 0x006E, 7, 2},           {scsi::ModeSense10, 0x000E, 7, 2},
    {scsi::ServiceActionIn16, 0x0002, 10, 4},
};

bool isFor(const RecordedScsi& answer, const ScsiExchange& exchange, const ScsiName& name) {
  for (std::size_t i = 0; i < answer.cdb.size(); ++i) {
    if ((i == 0 || (name.mask >> i & 1) != 0) && answer.cdb[i] != exchange.cdb[i]) {
      return false;
    }
  }
  return true;
}

std::size_t allocationOf(const ScsiExchange& exchange, const ScsiName& name) {
  const std::uint8_t* at = &exchange.cdb[name.allocationAt];
  switch (name.allocationBytes) {
    case 1:
      return *at;
    case 2:
      return loadBe16(at);
    case 4:
      return loadBe32(at);
    default:
      return exchange.data.size();
  }
}

}  // namespace

bool answerRecorded(const std::vector<RecordedAta>& answers, AtaExchange& exchange) {
  const auto found = std::ranges::find_if(
      answers, [&](const RecordedAta& answer) { return isFor(answer, exchange.in); });
  if (found == answers.end()) {
    return false;
  }
  if (endsInTransport(found->transportError, exchange)) {
    return true;
  }
  exchange.out.features = found->error;
  exchange.out.command = found->status;
  exchange.out.count = found->count;
  if (found->signature) {
    exchange.out.lbaMid = byteOf(*found->signature, 0);
    exchange.out.lbaHigh = byteOf(*found->signature, 1);
  }
  give(found->data, exchange.data.size(), exchange);
  return true;
}

bool answerRecorded(const std::vector<RecordedNvme>& answers, NvmeExchange& exchange) {
  const auto select = byteOf(exchange.cdw[0], 0);
  const bool identify = exchange.opcode == kNvmeIdentify;
  const auto found = std::ranges::find_if(answers, [&](const RecordedNvme& answer) {
    return exchange.admin && answer.opcode == exchange.opcode && answer.select == select &&
           (identify ? select != 0 || answer.namespaceId == exchange.namespaceId
                     : answer.identifier == exchange.cdw[1] >> 16);
  });
  if (found == answers.end()) {
    return false;
  }
  exchange.statusType = found->statusType;
  exchange.statusCode = found->statusCode;
  give(found->data, exchange.data.size(), exchange);
  return true;
}

bool RecordedScsiAnswers::isOutdated(const ScsiExchange& exchange) const {
  constexpr std::uint8_t kIecPage = 0x1C;
  constexpr std::uint8_t kSelfTestPage = 0x10;
  constexpr std::uint8_t kIecLog = 0x2F;
  const std::uint8_t page = exchange.cdb[2] & 0x3F;
  switch (exchange.cdb[0]) {
    case scsi::RequestSense:
      return selfTestSent_ || modeSelected_;
    case scsi::LogSense:
      return (selfTestSent_ && page == kSelfTestPage) || (modeSelected_ && page == kIecLog);
    case scsi::ModeSense6:
    case scsi::ModeSense10:
      return modeSelected_ && page == kIecPage;
    default:
      return false;
  }
}

void RecordedScsiAnswers::noteDone(const ScsiExchange& exchange) {
  if (exchange.status != 0 || exchange.delivery != Delivery::Answered) {
    return;
  }
  const std::uint8_t opcode = exchange.cdb[0];
  selfTestSent_ = selfTestSent_ || opcode == scsi::SendDiagnostic;
  modeSelected_ = modeSelected_ || opcode == scsi::ModeSelect6 || opcode == scsi::ModeSelect10;
}

bool RecordedScsiAnswers::answer(ScsiExchange& exchange) const {
  const auto* name = std::ranges::find(kScsiNames, exchange.cdb[0], &ScsiName::opcode);
  if (name == std::end(kScsiNames) || isOutdated(exchange)) {
    return false;
  }
  const auto found = std::ranges::find_if(
      answers_, [&](const RecordedScsi& answer) { return isFor(answer, exchange, *name); });
  if (found == answers_.end()) {
    return false;
  }
  if (endsInTransport(found->transportError, exchange)) {
    return true;
  }
  exchange.status = found->status;
  exchange.sense = found->sense;
  give(found->data, std::min(allocationOf(exchange, *name), exchange.data.size()), exchange);
  return true;
}

}  // namespace ostria::virtual_pc
