// ATA through a SCSI/ATA translator (SAT). Translators differ most in how they give the output
// registers back, and many give none: what then counts as an answer is decided here.
#include "transport/tunnels/sat_bridge.h"

#include <algorithm>

#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_sense.h"
#include "transport/tunnels/sat_pass_through.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kCheckCondition = 2;
constexpr std::uint8_t kStatusReturnType = 0x09;

void clearRegisters(AtaCmd& command) {
  command.features = command.featuresPrevious = 0;
  command.sectorCount = command.sectorCountPrevious = 0;
  command.lbaLow = command.lbaLowPrevious = 0;
  command.lbaMid = command.lbaMidPrevious = 0;
  command.lbaHigh = command.lbaHighPrevious = 0;
  command.device = command.command = 0;
}

// A read tells its failure by the sense key, so that a bad sector costs no second command.
void registersFromSense(const ScsiCmd& sent, AtaCmd& command) {
  ScsiSense sense;
  if (!succeeded(sense.Decode(sent.sense))) {
    return;
  }
  switch (sense.GetSenseKey()) {
    case SenseKey::MediumError:
      command.features = 0x40;
      command.command = 0x01;
      break;
    case SenseKey::HardwareError:
      command.command = 0x20;
      break;
    case SenseKey::IllegalRequest:
      command.features = 0x10;
      command.command = 0x01;
      break;
    default:
      break;
  }
}

std::unique_ptr<ScsiCmd> makePassThrough(const AtaCmd& command, bool ckCondition) {
  if (IsLba48Command(command.command)) {
    return std::make_unique<SatAtaPassThrough16>(command, ckCondition);
  }
  return std::make_unique<SatAtaPassThrough12>(command, ckCondition);
}

}  // namespace

ProtocolResult SatBridge::Send(AtaCmd& command) {
  const bool read = ata::traitsOf(command.command).has(ata::OfMedium);
  std::unique_ptr<ScsiCmd> wrapped;
  ProtocolResult result = MakePassThrough(command, wrapped);
  if (succeeded(result)) {
    result = scsi_->Send(*wrapped);
  }

  clearRegisters(command);
  command.transferBytes = 0;
  if (!succeeded(result)) {
    return result;
  }

  if (command.wantRegisters) {
    if (read && wrapped->senseLength > 0) {
      registersFromSense(*wrapped, command);
    } else {
      ReadBackRegisters(*wrapped, command);
    }
  }
  command.transferBytes = wrapped->transferBytes;
  return ProtocolResult::Success;
}

void SatBridge::ReadBackRegisters(ScsiCmd& sent, AtaCmd& command) {
  StatusReturn registers{};
  if (sent.scsiStatus != kCheckCondition || !succeeded(FetchRegisters(sent, registers))) {
    return;
  }
  command.features = registers[3];
  command.sectorCount = registers[5];
  command.lbaLow = registers[7];
  command.lbaMid = registers[9];
  command.lbaHigh = registers[11];
  command.device = registers[12];
  command.command = registers[13];
}

ProtocolResult SatBridgeWithCkCondition::MakePassThrough(AtaCmd& command,
                                                         std::unique_ptr<ScsiCmd>& out) {
  out = makePassThrough(command, true);
  return ProtocolResult::Success;
}

ProtocolResult SatBridgeWithCkCondition::FetchRegisters(ScsiCmd& sent, StatusReturn& out) {
  const auto& sense = sent.sense;
  // Only descriptor format has descriptors; in fixed format the walk would find other fields.
  const unsigned responseCode = sense[0] & 0x7Fu;
  if (responseCode != 0x72 && responseCode != 0x73) {
    return ProtocolResult::RegistersUnavailable;
  }
  const std::size_t last = 7u + sense[7];
  for (std::size_t at = 8; at < last && at + out.size() <= sense.size(); at += 2u + sense[at + 1]) {
    if (sense[at] != kStatusReturnType) {
      continue;
    }
    std::copy_n(&sense[at], out.size(), out.begin());
    return ProtocolResult::Success;
  }
  return ProtocolResult::RegistersUnavailable;
}

ProtocolResult SatBridgeWithoutCkCond::MakePassThrough(AtaCmd& command,
                                                       std::unique_ptr<ScsiCmd>& out) {
  out = makePassThrough(command, false);
  return ProtocolResult::Success;
}

ProtocolResult SatBridgeWithoutCkCond::FetchRegisters(ScsiCmd& /*sent*/, StatusReturn& out) {
  SatGetAtaOutputRegisters fetch(out.data());
  const ProtocolResult result = scsi().Send(fetch);
  if (!succeeded(result)) {
    return result;
  }
  if (fetch.scsiStatus != 0) {
    return ProtocolResult::ScsiStatusNotGood;
  }
  if (out[0] != kStatusReturnType || out[1] != 0x0C) {
    return ProtocolResult::RegistersUnavailable;
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
