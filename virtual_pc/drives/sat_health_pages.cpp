// Health of a SATA drive in SCSI pages (SAT-3): a SAS controller's firmware answers them itself.
#include "virtual_pc/drives/sat_health_pages.h"

#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_commands.h"
#include "virtual_pc/drives/scsi_block.h"
#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

using storage::loadBe16;
using storage::loadLe16;
using storage::storeBe16;

namespace {

constexpr std::uint8_t kIecPage = 0x1C;
constexpr std::uint8_t kDisableExceptions = 0x08;
constexpr std::uint8_t kSaveable = 0x80;

}  // namespace

void SatHealth::perform(ScsiExchange& exchange) {
  switch (exchange.cdb[0]) {
    case scsi::LogSense:
      return logSense(exchange);
    case scsi::ModeSense6:
    case scsi::ModeSense10:
      return modeSense(exchange, exchange.cdb[0] == scsi::ModeSense10);
    case scsi::ModeSelect6:
    case scsi::ModeSelect10:
      return modeSelect(exchange, exchange.cdb[0] == scsi::ModeSelect10);
    default:
      return layer_.execute(exchange);
  }
}

bool SatHealth::send(ScsiExchange& exchange, AtaExchange& ata, std::size_t readBytes) {
  ata.direction = readBytes != 0 ? DataDirection::In : DataDirection::None;
  ata.data.assign(readBytes, 0);
  drive_.execute(ata);
  exchange.delivery = ata.delivery;
  exchange.transportError = ata.transportError;
  exchange.durationMicroseconds = ata.durationMicroseconds;
  if (ata.delivery != Delivery::Answered) {
    return false;
  }
  if ((ata.out.command & 1) == 0 && ata.transferred == readBytes) {
    return true;
  }
  exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  return false;
}

bool SatHealth::smart(ScsiExchange& exchange, AtaExchange& ata, std::uint8_t subcommand) {
  ata.in = {subcommand, 0, 0, ata::kSmartLbaMid, ata::kSmartLbaHigh, 0, ata::Smart};
  return send(exchange, ata, 0);
}

void SatHealth::logSense(ScsiExchange& exchange) {
  constexpr std::uint8_t kFailurePrediction = 0x5D;
  if ((exchange.cdb[2] & 0x3F) != 0x2F) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  AtaExchange status;
  if (!smart(exchange, status, ata::SmartReturnStatus)) {
    return;
  }
  const bool failing =
      status.out.lbaMid == ata::kFailingLbaMid && status.out.lbaHigh == ata::kFailingLbaHigh;
  const std::array<std::uint8_t, 12> page = {
      0x2F, 0, 0, 8, 0, 0, 3, 4, failing ? kFailurePrediction : std::uint8_t{0}};
  exchange.answer(page.data(), std::min<std::size_t>(page.size(), loadBe16(&exchange.cdb[7])));
}

void SatHealth::modeSense(ScsiExchange& exchange, bool ten) {
  if ((exchange.cdb[2] & 0x3F) != kIecPage) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  AtaExchange identify;
  identify.in.command = ata::IdentifyDevice;
  if (!send(exchange, identify, 512)) {
    return;
  }
  const bool enabled = (loadLe16(&identify.data[2 * std::size_t{85}]) & 1) != 0;
  std::vector<std::uint8_t> data(ten ? 8 : 4);
  data.insert(data.end(),
              {kSaveable | kIecPage, 0x0A, enabled ? std::uint8_t{0} : kDisableExceptions,
               enabled ? std::uint8_t{6} : std::uint8_t{0}, 0, 0, 0, 0, 0, 0, 0, 1});
  if (ten) {
    storeBe16(&data[0], static_cast<std::uint16_t>(data.size() - 2));
  } else {
    data[0] = static_cast<std::uint8_t>(data.size() - 1);
  }
  exchange.answer(data.data(), std::min<std::size_t>(data.size(), ten ? loadBe16(&exchange.cdb[7])
                                                                      : exchange.cdb[4]));
}

void SatHealth::modeSelect(ScsiExchange& exchange, bool ten) {
  const std::size_t at = ten ? 8 : 4;
  if (exchange.data.size() < at + 12) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidField);
  }
  // MODE DATA LENGTH and PS belong to MODE SENSE and are reserved here.
  if ((ten ? loadBe16(&exchange.data[0]) : exchange.data[0]) != 0 ||
      exchange.data[at] != kIecPage) {
    return exchange.fail(kSenseIllegalRequest, kAscInvalidParameter);
  }
  const bool disable = (exchange.data[at + 2] & kDisableExceptions) != 0;
  AtaExchange ata;
  if (smart(exchange, ata, disable ? ata::SmartDisable : ata::SmartEnable)) {
    exchange.transferred = exchange.data.size();
  }
}

}  // namespace ostria::virtual_pc
