// SCSI commands to an NVMe drive (NVM Express: SCSI Translation Reference).
#include "virtual_pc/drives/nvme_scsi_translation.h"

#include <algorithm>

#include "base/byte_order.h"
#include "virtual_pc/drives/scsi_block.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

namespace {

using storage::loadBe16;
using storage::loadBe32;
using storage::loadBe64;
using storage::storeBe32;
using storage::storeBe64;

constexpr std::uint8_t kNvmeRead = 0x02;
constexpr std::uint8_t kNvmeWrite = 0x01;

void illegalCommand(ScsiExchange& exchange) { exchange.fail(kSenseIllegalRequest, 0x20); }
void illegalField(ScsiExchange& exchange) { exchange.fail(kSenseIllegalRequest, 0x24); }
void lbaOutOfRange(ScsiExchange& exchange) { exchange.fail(kSenseIllegalRequest, 0x21); }

void give(ScsiExchange& exchange, std::vector<std::uint8_t> bytes, std::size_t allocation) {
  exchange.answer(bytes.data(), std::min(bytes.size(), allocation));
}

void putText(std::vector<std::uint8_t>& data, std::size_t at, std::size_t width,
             const std::string& text) {
  const auto begin = data.begin() + static_cast<std::ptrdiff_t>(at);
  std::fill_n(begin, width, std::uint8_t{' '});
  std::copy_n(text.begin(), std::min(width, text.size()), begin);
}

// How a failed NVMe command reads in SCSI.
void translateStatus(const NvmeExchange& answer, ScsiExchange& exchange, std::uint64_t lba) {
  if (answer.statusType == 2 && answer.statusCode == 0x81) {
    return exchange.failAt(3, 0x11, 0, lba);
  }
  if (answer.statusType == 2 && answer.statusCode == 0x80) {
    return exchange.failAt(3, 0x03, 0, lba);
  }
  if (answer.statusType == 2) {
    return exchange.failAt(7, 0x20, 0x02, lba);
  }
  if (answer.statusCode == 0x04) {
    return exchange.failAt(0x0B, 0x47, 0x03, lba);
  }
  if (answer.statusCode == 0x80) {
    return lbaOutOfRange(exchange);
  }
  exchange.fail(kSenseHardwareError, 0x44);  // internal target failure
}

}  // namespace

void NvmeTranslation::perform(ScsiExchange& exchange) {
  const std::uint8_t* cdb = exchange.cdb.data();
  switch (cdb[0]) {
    case scsi::TestUnitReady:
    case scsi::SynchronizeCache:
      return;
    case scsi::RequestSense: {  // nothing to report
      std::vector<std::uint8_t> sense(18);
      sense[0] = 0x70;
      sense[7] = 10;
      return give(exchange, sense, cdb[4]);
    }
    case scsi::Inquiry:
      return inquiry(exchange);
    case scsi::ModeSense6:
      return modeSense(exchange, false);
    case scsi::ModeSense10:
      return modeSense(exchange, true);
    case scsi::LogSense:
      return logSense(exchange);
    case scsi::ReadCapacity10:
      return readCapacity10(exchange);
    case scsi::ServiceActionIn16:
      return (cdb[1] & 0x1F) == 0x10 ? readCapacity16(exchange) : illegalField(exchange);
    case scsi::Read10:
      return transfer(exchange, kNvmeRead, loadBe32(cdb + 2), loadBe16(cdb + 7));
    case scsi::Read12:
      return transfer(exchange, kNvmeRead, loadBe32(cdb + 2), loadBe32(cdb + 6));
    case scsi::Read16:
      return transfer(exchange, kNvmeRead, loadBe64(cdb + 2), loadBe32(cdb + 10));
    case scsi::Write10:
      return transfer(exchange, kNvmeWrite, loadBe32(cdb + 2), loadBe16(cdb + 7));
    case scsi::Write12:
      return transfer(exchange, kNvmeWrite, loadBe32(cdb + 2), loadBe32(cdb + 6));
    case scsi::Write16:
      return transfer(exchange, kNvmeWrite, loadBe64(cdb + 2), loadBe32(cdb + 10));
    default:
      return illegalCommand(exchange);
  }
}

void NvmeTranslation::inquiry(ScsiExchange& exchange) {
  const std::size_t allocation = loadBe16(&exchange.cdb[3]);
  const NvmeTraits& traits = drive_.traits();
  std::vector<std::uint8_t> data;
  if ((exchange.cdb[1] & 1) == 0) {
    data.resize(74);
    data[2] = 6;
    data[3] = 2;
    data[4] = 69;
    data[7] = 2;
    putText(data, 8, 8, "NVMe");
    putText(data, 16, 16, traits.model);
    putText(data, 32, 4, traits.firmware);
    return give(exchange, data, allocation);
  }
  switch (exchange.cdb[2]) {
    case 0x00:
      data = {0, 0, 0, 4, 0x00, 0x80, 0x83, 0xB1};
      break;
    case 0x80:
      data.resize(4);
      data[1] = 0x80;
      data[3] = static_cast<std::uint8_t>(traits.serial.size());
      data.insert(data.end(), traits.serial.begin(), traits.serial.end());
      break;
    case 0x83:
      data.resize(8 + 8 + 16 + 20);
      data[1] = 0x83;
      data[3] = 48;
      data[4] = 2;  // T10 vendor identification in ASCII
      data[5] = 1;
      data[7] = 44;
      putText(data, 8, 8, "NVMe");
      putText(data, 16, 16, traits.model);
      putText(data, 32, 20, traits.serial);
      break;
    case 0xB1:
      data.resize(64);
      data[1] = 0xB1;
      data[3] = 60;
      data[5] = 1;  // does not rotate
      break;
    default:
      return illegalField(exchange);
  }
  give(exchange, data, allocation);
}

void NvmeTranslation::readCapacity10(ScsiExchange& exchange) {
  std::vector<std::uint8_t> data(8);
  storeBe32(&data[0],
            static_cast<std::uint32_t>(std::min<std::uint64_t>(medium_.sectors() - 1, 0xFFFFFFFF)));
  storeBe32(&data[4], medium_.sectorBytes());
  give(exchange, data, data.size());
}

void NvmeTranslation::readCapacity16(ScsiExchange& exchange) {
  std::vector<std::uint8_t> data(32);
  storeBe64(&data[0], medium_.sectors() - 1);
  storeBe32(&data[8], medium_.sectorBytes());
  give(exchange, data, loadBe32(&exchange.cdb[10]));
}

void NvmeTranslation::transfer(ScsiExchange& exchange, std::uint8_t opcode, std::uint64_t lba,
                               std::uint64_t sectors) {
  if (sectors == 0) {
    return;
  }
  // The driver sends no command that is larger than the controller takes.
  if (sectors * medium_.sectorBytes() > NvmeDrive::kLargestTransfer) {
    return illegalField(exchange);
  }
  NvmeExchange command;
  command.admin = false;
  command.opcode = opcode;
  command.namespaceId = namespaceId_;
  command.direction = exchange.direction;
  command.cdw = {static_cast<std::uint32_t>(lba), static_cast<std::uint32_t>(lba >> 32),
                 static_cast<std::uint32_t>(sectors - 1)};
  command.data = std::move(exchange.data);
  drive_.execute(command);
  exchange.data = std::move(command.data);
  exchange.transferred = command.transferred;
  exchange.delivery = command.delivery;
  exchange.transportError = command.transportError;
  exchange.durationMicroseconds = command.durationMicroseconds;
  if (command.statusType != 0 || command.statusCode != 0) {
    translateStatus(command, exchange, lba);
  }
}

void NvmeTranslation::modeSense(ScsiExchange& exchange, bool ten) {
  if ((exchange.cdb[2] & 0x3F) != 0x1C) {
    return illegalField(exchange);
  }
  const std::size_t header = ten ? 8 : 4;
  std::vector<std::uint8_t> data(header + 12);
  data[ten ? 1 : 0] = static_cast<std::uint8_t>(data.size() - (ten ? 2 : 1));
  data[header] = 0x1C;
  data[header + 1] = 10;
  give(exchange, data, ten ? loadBe16(&exchange.cdb[7]) : exchange.cdb[4]);
}

void NvmeTranslation::logSense(ScsiExchange& exchange) {
  const NvmeHealth& health = drive_.traits().health;
  const auto celsius = static_cast<std::uint8_t>(
      std::clamp(static_cast<int>(health.temperatureKelvin) - 273, 0, 254));
  std::vector<std::uint8_t> page;
  switch (exchange.cdb[2] & 0x3F) {
    case 0x0D:
      page = {0x0D, 0, 0, 6, 0, 0, 3, 2, 0, celsius};
      break;
    case 0x2F:
      page = {0x2F, 0, 0, 8, 0, 0, 3, 4, 0, 0, celsius, 0};
      if (health.criticalWarning != 0) {
        page[8] = 0x5D;
      }
      break;
    default:
      return illegalField(exchange);
  }
  give(exchange, page, loadBe16(&exchange.cdb[7]));
}

}  // namespace ostria::virtual_pc
