// What all device models share: presence and planned faults around each command.
#include "virtual_pc/drives/device_model.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_command_traits.h"
#include "virtual_pc/drives/scsi_command_traits.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint32_t kAdapterError = 1117;  // ERROR_IO_DEVICE
constexpr std::uint64_t kAdapterErrorMicroseconds = 1000;
constexpr std::uint64_t kRecordedMicroseconds = 50;

/// What a rule does, if it is of that kind; null without a rule.
template <typename Fault>
const Fault* faultOf(const FaultRule* rule) {
  return rule != nullptr ? std::get_if<Fault>(&rule->action) : nullptr;
}

std::uint64_t durationOf(const FaultRule& rule) { return std::uint64_t{rule.milliseconds} * 1000; }

}  // namespace

void Exchange::answer(const std::uint8_t* bytes, std::size_t count) {
  transferred = std::min(count, data.size());
  std::copy_n(bytes, transferred, data.begin());
}

std::uint64_t AtaTaskFile::lba28() const {
  return std::uint64_t{lbaLow & 0xFFu} | (std::uint64_t{lbaMid & 0xFFu} << 8) |
         (std::uint64_t{lbaHigh & 0xFFu} << 16) | (std::uint64_t{device & 0x0Fu} << 24);
}

std::uint64_t AtaTaskFile::lba48() const {
  return std::uint64_t{lbaLow & 0xFFu} | (std::uint64_t{lbaMid & 0xFFu} << 8) |
         (std::uint64_t{lbaHigh & 0xFFu} << 16) |
         (std::uint64_t{static_cast<std::uint32_t>(lbaLow >> 8)} << 24) |
         (std::uint64_t{static_cast<std::uint32_t>(lbaMid >> 8)} << 32) |
         (std::uint64_t{static_cast<std::uint32_t>(lbaHigh >> 8)} << 40);
}

void AtaTaskFile::setLba48(std::uint64_t lba) {
  const auto pair = [lba](unsigned low) {
    return static_cast<std::uint16_t>(storage::byteOf(lba, low) |
                                      (storage::byteOf(lba, low + 3) << 8));
  };
  lbaLow = pair(0);
  lbaMid = pair(1);
  lbaHigh = pair(2);
}

void ScsiExchange::fail(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq) {
  status = 2;
  transferred = 0;
  sense.assign(18, 0);
  sense[0] = 0x70;
  sense[2] = key;
  sense[7] = 10;
  sense[12] = asc;
  sense[13] = ascq;
  failedLba.reset();
}

void ScsiExchange::failAt(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq,
                          std::uint64_t lba) {
  fail(key, asc, ascq);
  failedLba = lba;
  if (lba > 0xFFFFFFFFu) {
    return;  // the information field of the fixed format has four bytes
  }
  sense[0] |= 0x80;
  storage::storeBe32(&sense[3], static_cast<std::uint32_t>(lba));
}

void ScsiExchange::describeSense() {
  if (sense.size() < 14 || (sense[0] & 0x7F) >= 0x72) {
    return;
  }
  std::vector<std::uint8_t> described{0x72, sense[2], sense[12], sense[13], 0, 0, 0, 0};
  if (failedLba) {
    constexpr std::uint8_t kInformationBytes = 12;
    constexpr std::uint8_t kValid = 0x80;
    described[7] = kInformationBytes;
    described.resize(8 + kInformationBytes);
    described[9] = kInformationBytes - 2;
    described[10] = kValid;
    storage::storeBe64(&described[12], *failedLba);
  }
  sense = std::move(described);
}

bool DeviceModel::admit(Exchange& exchange, const FaultRule* rule) {
  exchange.transferred = 0;
  exchange.durationMicroseconds = 0;
  exchange.delivery = Delivery::Answered;
  if (faultOf<VanishFault>(rule) != nullptr) {
    gone_ = true;
  }
  if (gone_) {
    exchange.delivery = Delivery::Gone;
    return false;
  }
  if (const auto* transport = faultOf<TransportFault>(rule)) {
    exchange.durationMicroseconds = durationOf(*rule);
    exchange.delivery = Delivery::TransportError;
    exchange.transportError = transport->error;
    return false;
  }
  if (faultOf<HangFault>(rule) != nullptr) {
    exchange.durationMicroseconds = kNever;
    return false;
  }
  return true;
}

void DeviceModel::injectFault(Exchange& exchange, const FaultRule* rule) {
  const auto* slow = faultOf<SlowFault>(rule);
  if (slow != nullptr && exchange.durationMicroseconds != kNever) {
    exchange.durationMicroseconds += std::uint64_t{slow->milliseconds} * 1000;
  }
  if (const auto* cut = faultOf<ShortFault>(rule)) {
    exchange.transferred = std::min<std::size_t>(exchange.transferred, cut->bytes);
  }
  if (exchange.direction == DataDirection::In && faultOf<GarbageFault>(rule) != nullptr) {
    faults_.fillGarbage(exchange.data.data(), exchange.transferred);
  }
}

void AtaDeviceModel::execute(AtaExchange& exchange) {
  const FaultRule* rule =
      faults().take(exchange.in.command, storage::byteOf(exchange.in.features, 0));
  if (!admit(exchange, rule)) {
    return;
  }
  // A host adapter that is set up for another direction, or for less than the drive moves, ends the
  // command with a fatal error of its own; the drive's data go nowhere.
  const AtaCommandTraits traits =
      ataCommandTraits(exchange.in.command, storage::byteOf(exchange.in.features, 0));
  const std::size_t moves = ataTransferBytes(exchange.in, sectorBytes());
  if (traits.known &&
      (exchange.direction != (moves != 0 ? traits.direction : DataDirection::None) ||
       exchange.data.size() < moves)) {
    exchange.delivery = Delivery::TransportError;
    exchange.transportError = kAdapterError;
    exchange.durationMicroseconds = kAdapterErrorMicroseconds;
    return;
  }
  exchange.out = exchange.in;
  exchange.out.features = 0;
  exchange.out.command = 0x50;
  if (const auto* fault = faultOf<AtaFault>(rule)) {
    exchange.durationMicroseconds = durationOf(*rule);
    exchange.out.features = fault->error;
    exchange.out.command = fault->status;
    return;
  }
  perform(exchange);
  injectFault(exchange, rule);
}

void ScsiDeviceModel::execute(ScsiExchange& exchange) {
  const FaultRule* rule = faults().take(exchange.cdb[0], exchange.cdb[2]);
  exchange.status = 0;
  exchange.sense.clear();
  if (!admit(exchange, rule)) {
    return;
  }
  if (!scsiDirectionFits(exchange.cdb[0], exchange.direction)) {
    // The device goes into another phase than the adapter waits for, which then resets the bus.
    exchange.delivery = Delivery::TransportError;
    exchange.transportError = kAdapterError;
    exchange.durationMicroseconds = kAdapterErrorMicroseconds;
    return;
  }
  if (exchange.cdbLength < scsiCdbLength(exchange.cdb[0])) {
    constexpr std::uint8_t kIllegalRequest = 5;
    constexpr std::uint8_t kInvalidField = 0x24;
    return exchange.fail(kIllegalRequest, kInvalidField);
  }
  if (const auto* fault = faultOf<SenseFault>(rule)) {
    exchange.durationMicroseconds = durationOf(*rule);
    exchange.fail(fault->key, fault->asc, fault->ascq);
  } else if (const auto* status = faultOf<ScsiStatusFault>(rule)) {
    endWithStatus(exchange, *status, durationOf(*rule));
  } else {
    if (recorded_.answer(exchange)) {
      exchange.durationMicroseconds = kRecordedMicroseconds;
    } else {
      perform(exchange);
      recorded_.noteDone(exchange);
    }
    injectFault(exchange, rule);
  }
  if (descriptorSense()) {
    exchange.describeSense();
  }
}

void ScsiDeviceModel::endWithStatus(ScsiExchange& exchange, const ScsiStatusFault& fault,
                                    std::uint64_t durationMicroseconds) {
  constexpr std::uint8_t kRecovered = 1;
  const bool done = fault.sense ? fault.sense->key <= kRecovered : fault.status == 0;
  if (done) {
    perform(exchange);
  }
  exchange.durationMicroseconds += durationMicroseconds;
  if (exchange.status != 0) {
    return;  // the command failed by itself
  }
  if (fault.sense) {
    const std::size_t moved = exchange.transferred;
    exchange.fail(fault.sense->key, fault.sense->asc, fault.sense->ascq);
    exchange.transferred = done ? moved : 0;
    if (fault.descriptor) {
      exchange.describeSense();
    }
  }
  exchange.status = fault.status;
}

void NvmeDeviceModel::execute(NvmeExchange& exchange) {
  const FaultRule* rule =
      faults().take(exchange.opcode, storage::byteOf(exchange.cdw[0], 0), exchange.admin);
  exchange.result = 0;
  exchange.statusType = 0;
  exchange.statusCode = 0;
  if (!admit(exchange, rule)) {
    return;
  }
  if (const auto* fault = faultOf<NvmeFault>(rule)) {
    exchange.durationMicroseconds = durationOf(*rule);
    exchange.statusType = fault->type;
    exchange.statusCode = fault->code;
    return;
  }
  perform(exchange);
  injectFault(exchange, rule);
}

}  // namespace ostria::virtual_pc
