// Commands of a RAID controller's driver to one of its drives.
#include "virtual_pc/system/raid/member_drives.h"

#include <algorithm>

#include "virtual_pc/system/machine.h"

namespace ostria::virtual_pc {

namespace {

template <typename Model, typename Kind>
DriveReply send(Machine& machine, Model& model, Kind& exchange, std::uint64_t timeout) {
  if (machine.faults().devicesGone()) {
    return DriveReply::Unreached;
  }
  model.execute(exchange);
  const bool late = exchange.durationMicroseconds > timeout;
  exchange.durationMicroseconds = std::min(exchange.durationMicroseconds, timeout);
  switch (exchange.delivery) {
    case Delivery::Gone:
      return DriveReply::Unreached;
    case Delivery::TransportError:
      return DriveReply::SystemError;
    case Delivery::Answered:
      break;
  }
  if (!late) {
    return DriveReply::Answered;
  }
  exchange.transferred = 0;
  return DriveReply::Unreached;
}

std::uint16_t pair(std::uint8_t low, std::uint8_t high) {
  return static_cast<std::uint16_t>(low | (high << 8));
}

std::uint8_t low(std::uint16_t value) { return static_cast<std::uint8_t>(value); }
std::uint8_t high(std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); }

}  // namespace

bool isSata(const Drive& drive) { return drive.ata && drive.identity.bus == BusType::Sata; }
bool isSas(const Drive& drive) { return drive.scsi && drive.identity.bus == BusType::Sas; }

DriveReply sendToMember(Machine& machine, AtaDeviceModel& model, AtaExchange& exchange,
                        std::uint64_t timeout) {
  return send(machine, model, exchange, timeout);
}
DriveReply sendToMember(Machine& machine, ScsiDeviceModel& model, ScsiExchange& exchange,
                        std::uint64_t timeout) {
  return send(machine, model, exchange, timeout);
}
DriveReply sendToMember(Machine& machine, NvmeDeviceModel& model, NvmeExchange& exchange,
                        std::uint64_t timeout) {
  return send(machine, model, exchange, timeout);
}

AtaTaskFile readCommandFis(const std::uint8_t* fis) {
  AtaTaskFile out;
  out.command = fis[2];
  out.features = pair(fis[3], fis[11]);
  out.lbaLow = pair(fis[4], fis[8]);
  out.lbaMid = pair(fis[5], fis[9]);
  out.lbaHigh = pair(fis[6], fis[10]);
  out.device = fis[7];
  out.count = pair(fis[12], fis[13]);
  return out;
}

void writeReplyFis(const AtaTaskFile& registers, std::uint8_t* fis) {
  fis[0] = 0x34;
  fis[2] = registers.command;
  fis[3] = low(registers.features);
  fis[4] = low(registers.lbaLow);
  fis[5] = low(registers.lbaMid);
  fis[6] = low(registers.lbaHigh);
  fis[7] = registers.device;
  fis[8] = high(registers.lbaLow);
  fis[9] = high(registers.lbaMid);
  fis[10] = high(registers.lbaHigh);
  fis[12] = low(registers.count);
  fis[13] = high(registers.count);
}

}  // namespace ostria::virtual_pc
