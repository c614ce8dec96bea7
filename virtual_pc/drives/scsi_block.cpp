// Commands that every direct-access block device answers (SPC-4, SBC-3).
#include "virtual_pc/drives/scsi_block.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/byte_order.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

using storage::byteOf;
using storage::loadBe16;
using storage::loadBe32;
using storage::loadBe64;
using storage::storeBe16;
using storage::storeBe32;
using storage::storeBe64;

namespace {

void putText(std::uint8_t* at, std::size_t room, const std::string& text) {
  for (std::size_t i = 0; i < room; ++i) {
    at[i] = i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{' '};
  }
}

/// Gives an answer that the command's allocation length may cut.
void answerCut(ScsiExchange& exchange, const std::uint8_t* bytes, std::size_t count,
               std::size_t allocation) {
  exchange.answer(bytes, std::min(count, allocation));
}

}  // namespace

ScsiBlockDevice::ScsiBlockDevice(ScsiIdentity identity, BlockMedium& medium)
    : identity_(std::move(identity)), medium_(medium) {}

void ScsiBlockDevice::perform(ScsiExchange& exchange) {
  constexpr std::uint64_t kOverhead = 50;
  exchange.durationMicroseconds = kOverhead;
  const std::uint8_t* cdb = exchange.cdb.data();
  const ScsiDescription& traits = identity_.traits;
  switch (cdb[0]) {
    case scsi::TestUnitReady:
    case scsi::SynchronizeCache:
      return;
    case scsi::RequestSense:
      return requestSense(exchange);
    case scsi::Inquiry:
      return (cdb[1] & 1) ? vitalProductData(exchange) : inquiry(exchange);
    case scsi::ReadCapacity10:
      return readCapacity10(exchange);
    case scsi::ServiceActionIn16:
      if ((cdb[1] & 0x1F) == 0x10 && traits.capacity16) {
        return readCapacity16(exchange);
      }
      break;
    case scsi::Read10:
      return checkedTransfer(exchange, Access::Read, loadBe32(cdb + 2), loadBe16(cdb + 7));
    case scsi::Write10:
      return checkedTransfer(exchange, Access::Write, loadBe32(cdb + 2), loadBe16(cdb + 7));
    case scsi::Read12:
      if (!traits.read12) {
        break;
      }
      return checkedTransfer(exchange, Access::Read, loadBe32(cdb + 2), loadBe32(cdb + 6));
    case scsi::Write12:
      if (!traits.read12) {
        break;
      }
      return checkedTransfer(exchange, Access::Write, loadBe32(cdb + 2), loadBe32(cdb + 6));
    case scsi::Read16:
      if (!traits.read16) {
        break;
      }
      return checkedTransfer(exchange, Access::Read, loadBe64(cdb + 2), loadBe32(cdb + 10));
    case scsi::Write16:
      if (!traits.read16) {
        break;
      }
      return checkedTransfer(exchange, Access::Write, loadBe64(cdb + 2), loadBe32(cdb + 10));
    default:
      break;
  }
  other(exchange);
}

void ScsiBlockDevice::other(ScsiExchange& exchange) {
  exchange.fail(kSenseIllegalRequest, kAscInvalidOpcode);
}

void ScsiBlockDevice::requestSense(ScsiExchange& exchange) {
  std::array<std::uint8_t, 252> sense{};
  sense[0] = 0x70;
  sense[7] = 10;
  answerCut(exchange, sense.data(), identity_.traits.requestSenseBytes, exchange.cdb[4]);
}

void ScsiBlockDevice::inquiry(ScsiExchange& exchange) const {
  if (exchange.cdb[2] != 0) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  std::array<std::uint8_t, 252> data{};
  const ScsiDescription& traits = identity_.traits;
  data[1] = identity_.removable ? 0x80 : 0x00;
  data[2] = traits.version;
  data[3] = 0x02;
  data[4] = static_cast<std::uint8_t>(traits.inquiryBytes - 5);
  data[7] = 0x02;
  putText(&data[8], 8, identity_.vendor);
  putText(&data[16], 16, identity_.product);
  putText(&data[32], 4, identity_.revision);
  for (std::size_t i = 0; i < traits.standards.size(); ++i) {
    storeBe16(&data[58 + 2 * i], traits.standards[i]);
  }
  answerCut(exchange, data.data(), traits.inquiryBytes, loadBe16(&exchange.cdb[3]));
}

void ScsiBlockDevice::vitalProductData(ScsiExchange& exchange) const {
  const std::uint8_t page = exchange.cdb[2];
  std::vector<std::uint8_t> data{0, page, 0, 0};
  switch (page) {
    case 0x00:
      data.insert(data.end(), {0x00, 0x80, 0x83});
      if (identity_.traits.mediumPage) {
        data.push_back(0xB1);
      }
      break;
    case 0x80:
      data.insert(data.end(), identity_.serial.begin(), identity_.serial.end());
      break;
    case 0x83: {
      const std::string id = identity_.vendor + identity_.product + identity_.serial;
      const std::size_t length = std::min<std::size_t>(id.size(), 64);
      data.insert(data.end(), {0x02, 0x01, 0x00, static_cast<std::uint8_t>(length)});
      data.insert(data.end(), id.begin(), id.begin() + static_cast<std::ptrdiff_t>(length));
      break;
    }
    case 0xB1:
      if (!identity_.traits.mediumPage) {
        return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
      }
      data.resize(64);
      storeBe16(&data[4], identity_.rotation);
      break;
    default:
      return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  storeBe16(&data[2], static_cast<std::uint16_t>(data.size() - 4));
  answerCut(exchange, data.data(), data.size(), loadBe16(&exchange.cdb[3]));
}

void ScsiBlockDevice::readCapacity10(ScsiExchange& exchange) const {
  std::array<std::uint8_t, 8> data{};
  const std::uint64_t last = std::min<std::uint64_t>(medium_.sectors() - 1, 0xFFFFFFFFu);
  storeBe32(&data[0], static_cast<std::uint32_t>(last));
  storeBe32(&data[4], medium_.sectorBytes());
  exchange.answer(data.data(), data.size());
}

void ScsiBlockDevice::readCapacity16(ScsiExchange& exchange) const {
  std::array<std::uint8_t, 32> data{};
  storeBe64(&data[0], medium_.sectors() - 1);
  storeBe32(&data[8], medium_.sectorBytes());
  data[13] = identity_.physicalExponent;
  answerCut(exchange, data.data(), data.size(), loadBe32(&exchange.cdb[10]));
}

void ScsiBlockDevice::checkedTransfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                                      std::uint64_t count) {
  // The medium is formatted without protection information, so none can be asked for.
  constexpr std::uint8_t kProtect = 0xE0;
  if ((exchange.cdb[1] & kProtect) != 0) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  if (lba >= medium_.sectors() || count > medium_.sectors() - lba) {
    return exchange.fail(kSenseIllegalRequest, kAscOutOfRange);
  }
  if (count == 0) {
    return;
  }
  const std::uint64_t bytes = count * medium_.sectorBytes();
  if (exchange.data.size() < bytes) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  transfer(exchange, access, lba, count);
}

void ScsiBlockDevice::transfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                               std::uint64_t count) {
  MediumAnswer answer;
  if (access == Access::Write) {
    answer = medium_.write(lba, count, exchange.data.data());
  } else {
    answer = medium_.read(lba, count, exchange.data.data());
  }
  exchange.transferred = static_cast<std::size_t>(answer.doneSectors) * medium_.sectorBytes();
  settle(exchange, access, answer);
}

void ScsiBlockDevice::settle(ScsiExchange& exchange, Access access, const MediumAnswer& answer) {
  if (answer.durationMicroseconds == kNever) {
    exchange.durationMicroseconds = kNever;
    exchange.transferred = 0;
    return;
  }
  exchange.durationMicroseconds += answer.durationMicroseconds;
  const std::size_t moved = exchange.transferred;
  switch (answer.outcome) {
    case MediumOutcome::Good:
    case MediumOutcome::Hang:
      return;
    case MediumOutcome::MediumError:
      exchange.failAt(kSenseMediumError, access == Access::Write ? 0x0C : 0x11, 0,
                      answer.failedLba);
      break;
    case MediumOutcome::InterfaceError:
      exchange.failAt(kSenseAborted, 0x47, 0x03, answer.failedLba);
      break;
    case MediumOutcome::Rejected:
      exchange.failAt(kSenseIllegalRequest, kAscInvalidField, 0, answer.failedLba);
      break;
    case MediumOutcome::OutOfRange:
      exchange.fail(kSenseIllegalRequest, kAscOutOfRange);
      break;
  }
  exchange.transferred = moved;
}

}  // namespace ostria::virtual_pc
