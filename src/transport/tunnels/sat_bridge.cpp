// ATA through a SCSI/ATA translator (SAT). Translators differ most in how they give the output
// registers back, and many give none: what then counts as an answer is decided here.
#include "transport/tunnels/sat_bridge.h"

#include <algorithm>
#include <optional>
#include <span>

#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_sense.h"
#include "transport/tunnels/sat_pass_through.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kStatusReturnType = 0x09;
constexpr std::size_t kStatusReturnBytes = 12;  // behind type and length

std::span<const std::uint8_t> senseOf(const ScsiCmd& sent) {
  return std::span(sent.sense)
      .first(
          static_cast<std::size_t>(std::min<std::uint64_t>(sent.senseLength, sent.sense.size())));
}

/// Nothing for sense data that are missing, cut or in no known format.
std::optional<SenseKey> senseKeyOf(const ScsiCmd& sent) {
  ScsiSense sense;
  if (!succeeded(sense.Decode(senseOf(sent)))) {
    return std::nullopt;
  }
  return sense.GetSenseKey();
}

/// Whether the translator reports a success: with CK_COND it does so by CHECK CONDITION too, with
/// the sense key for "recovered". Some drivers leave a length of sense behind GOOD without any.
bool reportsSuccess(const ScsiCmd& sent) {
  const std::optional<SenseKey> key = senseKeyOf(sent);
  const bool keyIsFine = key == SenseKey::NoSense || key == SenseKey::RecoveredError;
  const bool good = sent.hasStatus(ScsiStatus::Good);
  return keyIsFine ? good || sent.hasStatus(ScsiStatus::CheckCondition) : good && !key;
}

/// The registers that stand for the sense key of a failed read, so that a bad sector costs no
/// second command. @return false for a key that says nothing of the sector: the command was lost or
/// refused
bool takeSenseKey(SenseKey key, AtaCmd& command) {
  switch (key) {
    case SenseKey::MediumError:
      command.features = ata::ErrorUncorrectable;
      command.command = ata::StatusError;
      return true;
    case SenseKey::HardwareError:
      command.command = ata::StatusDeviceFault;
      return true;
    case SenseKey::IllegalRequest:
      command.features = ata::ErrorIdNotFound;
      command.command = ata::StatusError;
      return true;
    default:
      return false;
  }
}

/// The ATA Status Return descriptor, if it lies whole within the sense data.
bool takeDescriptor(std::span<const std::uint8_t> sense, SatBridge::StatusReturn& out) {
  constexpr std::size_t kHeaderBytes = 8;
  if (sense.size() < kHeaderBytes) {
    return false;
  }
  const std::size_t end = std::min<std::size_t>(sense.size(), kHeaderBytes + sense[7]);
  for (std::size_t at = kHeaderBytes; at + 2 <= end; at += 2u + sense[at + 1]) {
    if (sense[at] != kStatusReturnType) {
      continue;
    }
    if (sense[at + 1] < kStatusReturnBytes || at + out.size() > end) {
      return false;
    }
    std::copy_n(sense.begin() + static_cast<std::ptrdiff_t>(at), out.size(), out.begin());
    return true;
  }
  return false;
}

/// Many adapters give the registers in fixed format, marked as "ATA pass-through information
/// available". A status register is never 0: an adapter that has the mark alone keeps the registers
/// for the asking.
bool takeFixedFields(std::span<const std::uint8_t> sense, SatBridge::StatusReturn& out) {
  if (sense.size() < 14 || sense[12] != 0x00 || sense[13] != 0x1D || sense[4] == 0) {
    return false;
  }
  out = {kStatusReturnType,
         kStatusReturnBytes,
         0,
         sense[3],
         0,
         sense[6],
         0,
         sense[9],
         0,
         sense[10],
         0,
         sense[11],
         sense[5],
         sense[4]};
  return true;
}

std::unique_ptr<ScsiCmd> makePassThrough(const AtaCmd& command, bool ckCondition) {
  if (IsLba48Command(command.command)) {
    return std::make_unique<SatAtaPassThrough16>(command, ckCondition);
  }
  return std::make_unique<SatAtaPassThrough12>(command, ckCondition);
}

}  // namespace

ProtocolResult SatBridge::Send(AtaCmd& command) {
  const bool ofMedium = ata::traitsOf(command.command).has(ata::OfMedium);
  const std::uint64_t asked = command.transferBytes;
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
  command.transferBytes = wrapped->transferBytes;
  if (!command.wantRegisters) {
    return reportsSuccess(*wrapped) ? ProtocolResult::Success : ProtocolResult::ScsiStatusNotGood;
  }
  return ofMedium ? JudgeRead(*wrapped, asked, command) : ReadBackRegisters(*wrapped, command);
}

// A read is good only if every byte came and nothing speaks against it; what is not the drive's own
// verdict on the sector sends the read to the next bridge.
ProtocolResult SatBridge::JudgeRead(ScsiCmd& sent, std::uint64_t asked, AtaCmd& command) {
  if (reportsSuccess(sent)) {
    return sent.transferBytes >= asked ? ProtocolResult::Success
                                       : ProtocolResult::RegistersUnavailable;
  }
  const std::optional<SenseKey> key = senseKeyOf(sent);
  if (key) {
    return takeSenseKey(*key, command) ? ProtocolResult::Success
                                       : ProtocolResult::RegistersUnavailable;
  }
  if (sent.senseLength > 0) {
    return ProtocolResult::RegistersUnavailable;
  }
  const ProtocolResult result = ReadBackRegisters(sent, command);
  return succeeded(result) && !isRefused(command) ? ProtocolResult::RegistersUnavailable : result;
}

ProtocolResult SatBridge::ReadBackRegisters(ScsiCmd& sent, AtaCmd& command) {
  if (!sent.hasStatus(ScsiStatus::CheckCondition)) {
    return reportsSuccess(sent) ? ProtocolResult::Success : ProtocolResult::RegistersUnavailable;
  }
  StatusReturn registers{};
  if (!succeeded(FetchRegisters(sent, registers))) {
    return ProtocolResult::RegistersUnavailable;
  }
  command.features = registers[3];
  command.sectorCount = registers[5];
  command.lbaLow = registers[7];
  command.lbaMid = registers[9];
  command.lbaHigh = registers[11];
  command.device = registers[12];
  command.command = registers[13];
  // A command that was lost on the way leaves registers without an error behind sense of one.
  if (senseKeyOf(sent) && !reportsSuccess(sent) && !isRefused(command)) {
    clearRegisters(command);
    return ProtocolResult::RegistersUnavailable;
  }
  return ProtocolResult::Success;
}

ProtocolResult SatBridgeWithCkCondition::MakePassThrough(AtaCmd& command,
                                                         std::unique_ptr<ScsiCmd>& out) {
  out = makePassThrough(command, true);
  return ProtocolResult::Success;
}

ProtocolResult SatBridgeWithCkCondition::FetchRegisters(ScsiCmd& sent, StatusReturn& out) {
  const std::span<const std::uint8_t> sense = senseOf(sent);
  const unsigned responseCode = sense.empty() ? 0u : sense[0] & 0x7Fu;
  // Only descriptor format has descriptors; in fixed format the walk would find other fields.
  const bool found = responseCode == 0x72 || responseCode == 0x73
                         ? takeDescriptor(sense, out)
                         : responseCode == 0x70 && takeFixedFields(sense, out);
  return found ? ProtocolResult::Success : ProtocolResult::RegistersUnavailable;
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
  if (fetch.transferBytes < out.size() || out[0] != kStatusReturnType ||
      out[1] != kStatusReturnBytes) {
    return ProtocolResult::RegistersUnavailable;
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
