// ATA commands but SMART (ATA8-ACS). A command that the drive does not know is aborted.
#include "virtual_pc/drives/ata_drive.h"

#include <algorithm>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_commands.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::uint8_t kLbaBit = 0x40;  // of the device register

}  // namespace

AtaDrive::AtaDrive(const DriveDescription& description, const Clock& clock, BlockMedium& medium)
    : description_(description),
      medium_(medium),
      smart_(description, clock, medium),
      power_(description.power) {}

void AtaDrive::perform(AtaExchange& exchange) {
  constexpr std::uint64_t kOverhead = 50;
  exchange.durationMicroseconds = kOverhead;
  if (answerAsRecorded(exchange)) {
    return;
  }
  switch (exchange.in.command) {
    case ata::IdentifyDevice:
      return identify(exchange);
    case ata::ReadSectors:
    case ata::ReadMultiple:
    case ata::ReadDma:
      return access(exchange, Access::Read, false);
    case ata::ReadSectorsExt:
    case ata::ReadDmaExt:
    case ata::ReadMultipleExt:
      return access(exchange, Access::Read, true);
    case ata::WriteSectors:
    case ata::WriteMultiple:
    case ata::WriteDma:
      return access(exchange, Access::Write, false);
    case ata::WriteSectorsExt:
    case ata::WriteDmaExt:
      return access(exchange, Access::Write, true);
    case ata::WriteUncorrectableExt:
      return writeUncorrectable(exchange);
    case ata::ReadLogExt:
      return readLogExt(exchange);
    case ata::Smart:
      return smart_.perform(exchange);
    case ata::CheckPowerMode:
    case ata::FormerCheckPowerMode:
      return checkPowerMode(exchange);
    case ata::IdleImmediate:
      wake(exchange);
      power_ = PowerState::Idle;
      return;
    case ata::StandbyImmediate:
      power_ = PowerState::Standby;
      return;
    case ata::FlushCache:
      return;
    case ata::FlushCacheExt:
      if (description_.lba48) {
        return;
      }
      break;
    default:
      break;
  }
  failAta(exchange, kAtaAbort);
}

bool AtaDrive::answerAsRecorded(AtaExchange& exchange) {
  if (smart_.outdates(exchange.in) || !answerRecorded(description_.recorded.ata, exchange)) {
    return false;
  }
  smart_.bringUpToDate(exchange);
  return true;
}

void AtaDrive::identify(AtaExchange& exchange) const {
  const AtaPage page = makeIdentify(description_, smart_.enabled());
  exchange.answer(page.data(), page.size());
}

void AtaDrive::checkPowerMode(AtaExchange& exchange) const {
  switch (power_) {
    case PowerState::Standby:
      exchange.out.count = 0x00;
      break;
    case PowerState::Idle:
      exchange.out.count = 0x80;
      break;
    case PowerState::Active:
      exchange.out.count = 0xFF;
      break;
  }
}

void AtaDrive::wake(AtaExchange& exchange) {
  if (power_ == PowerState::Standby) {
    exchange.durationMicroseconds += description_.spinUpSeconds * kMicrosecondsPerSecond;
  }
  power_ = PowerState::Active;
}

void AtaDrive::access(AtaExchange& exchange, Access kind, bool extended) {
  if (description_.securityLocked || (extended && !description_.lba48)) {
    return failAta(exchange, kAtaAbort);
  }
  const AtaTaskFile& in = exchange.in;
  // Without the LBA bit the address is in cylinders, heads and sectors, which no such drive has.
  if ((in.device & kLbaBit) == 0) {
    return failAta(exchange, kAtaAbort);
  }
  const std::uint64_t lba = extended ? in.lba48() : in.lba28();
  std::uint64_t count = extended ? in.count : storage::byteOf(in.count, 0);
  if (count == 0) {
    count = extended ? 65536 : 256;
  }
  const std::size_t bytes = static_cast<std::size_t>(count) * medium_.sectorBytes();

  wake(exchange);
  if (kind == Access::Write) {
    const MediumAnswer answer = medium_.write(lba, count, exchange.data.data());
    exchange.transferred = answer.outcome == MediumOutcome::Good ? bytes : 0;
    return settle(exchange, answer);
  }
  const MediumAnswer answer = medium_.read(lba, count, exchange.data.data());
  exchange.transferred = static_cast<std::size_t>(answer.doneSectors) * medium_.sectorBytes();
  settle(exchange, answer);
}

void AtaDrive::settle(AtaExchange& exchange, const MediumAnswer& answer) {
  if (answer.durationMicroseconds == kNever) {
    exchange.durationMicroseconds = kNever;
    exchange.transferred = 0;
    return;
  }
  exchange.durationMicroseconds += answer.durationMicroseconds;
  switch (answer.outcome) {
    case MediumOutcome::Good:
    case MediumOutcome::Hang:
      return;
    case MediumOutcome::MediumError:
      failAta(exchange, kAtaUncorrectable);
      break;
    case MediumOutcome::InterfaceError:
      failAta(exchange, kAtaInterfaceCrc);
      break;
    case MediumOutcome::Rejected:
      failAta(exchange, kAtaAbort);
      break;
    case MediumOutcome::OutOfRange:
      failAta(exchange, kAtaIdNotFound);
      break;
  }
  exchange.out.setLba48(answer.failedLba);
  exchange.out.device = static_cast<std::uint8_t>((exchange.in.device & 0xF0) |
                                                  (storage::byteOf(answer.failedLba, 3) & 0x0F));
  smart_.noteError(
      {answer.failedLba, storage::byteOf(exchange.out.features, 0), 0x51, exchange.in.command, 0});
}

void AtaDrive::writeUncorrectable(AtaExchange& exchange) {
  const AtaTaskFile& in = exchange.in;
  const std::uint8_t kind = storage::byteOf(in.features, 0);
  const bool known = kind == 0x55 || kind == 0xAA || kind == 0x5A || kind == 0xA5;
  if (!description_.writeUncorrectable || !description_.lba48 || description_.securityLocked ||
      !known) {
    return failAta(exchange, kAtaAbort);
  }
  const std::uint64_t lba = in.lba48();
  const std::uint64_t count = in.count ? in.count : 65536;
  if (lba >= medium_.sectors() || count > medium_.sectors() - lba) {
    return failAta(exchange, kAtaIdNotFound);
  }
  wake(exchange);
  for (std::uint64_t i = 0; i < count; ++i) {
    medium_.markUncorrectable(lba + i);
  }
}

void AtaDrive::readLogExt(AtaExchange& exchange) {
  if (!description_.lba48) {
    return failAta(exchange, kAtaAbort);
  }
  const AtaTaskFile& in = exchange.in;
  const std::vector<AtaPage> log = smart_.generalLog(storage::byteOf(in.lbaLow, 0));
  const std::size_t first = in.lbaMid;
  const std::size_t pages = in.count;
  if (pages == 0 || first >= log.size() || pages > log.size() - first) {
    return failAta(exchange, kAtaAbort);
  }
  exchange.answer(log[first].data(), pages * sizeof(AtaPage));
}

}  // namespace ostria::virtual_pc
