// Reading, writing, power and self-test commands of an ATA drive (ACS-3), and the failover over its
// bridges. Pages and logs stand in the files beside this one.
#include "transport/ata/ata_protocol.h"

#include "base/byte_order.h"
#include "base/sector_size.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_identify.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/command_recorder.h"

namespace ostria::storage {

namespace {

constexpr std::uint64_t kReach28 = std::uint64_t{1} << 28;  // sectors that registers can address
constexpr std::uint64_t kReach48 = std::uint64_t{1} << 48;

bool hasError(const AtaCmd& command, ata::ErrorBit bit) { return (command.features & bit) != 0; }

bool hasError(const AtaCmd& command) { return (command.command & ata::StatusError) != 0; }

/// No end of a command: behind it stands a device that is gone or hangs.
bool isBusy(const AtaCmd& command) { return (command.command & ata::StatusBusy) != 0; }

}  // namespace

ProtocolResult AtaProtocol::SendThroughBridges(AtaCmd& command) {
  const AtaCmd asked = command;
  const ProtocolResult result = OfferToBridges(command, asked);
  if (CommandRecorder* const recorder = commandRecorder()) {
    recorder->noteAta(asked, command, result);
  }
  return result;
}

ProtocolResult AtaProtocol::OfferToBridges(AtaCmd& command, const AtaCmd& asked) {
  ProtocolResult result = ProtocolResult::Failure;
  for (std::size_t i = 0; i < bridges_.size(); ++i) {
    result = bridges_[i].Send(command);
    const bool spoke = succeeded(result) || result == ProtocolResult::NoDataReturned;
    if (spoke && isBusy(command)) {
      result = ProtocolResult::TransportFailure;
    }
    // A refusal is the drive's verdict. Another bridge would get the same one, and one that sees
    // less might take it for a success.
    if (result == ProtocolResult::NoDataReturned && isRefused(command)) {
      return result;
    }
    if (succeeded(result)) {
      if (i != 0) {
        bridges_.moveToFront(i);
      }
      return result;
    }
    const bool last = i + 1 == bridges_.size();
    if (!(last && result == ProtocolResult::NoDataReturned)) {
      command.AtaCmd::operator=(asked);
    }
  }
  return result;
}

bool AtaProtocol::ProbeBridge(AtaBridge& bridge) {
  AtaPage page{};
  IdentifyDevice identify(page.data());
  return succeeded(bridge.Send(identify)) && !isRefused(identify) &&
         IsValidIdentifyData(page.data()) && identify.transferBytes == page.size();
}

ProtocolResult AtaProtocol::SendChecked(AtaCmd& command) {
  const ProtocolResult result = SendThroughBridges(command);
  if (!succeeded(result)) {
    return result;
  }
  return isRefused(command) ? ProtocolResult::DeviceError : ProtocolResult::Success;
}

ProtocolResult AtaProtocol::GetProperties(StorageProtocolProperties* out) {
  if (out == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaPage page{};
  IdentifyDevice identify(page.data());
  const ProtocolResult result = SendChecked(identify);
  if (!succeeded(result)) {
    return result;
  }
  if (identify.transferBytes < page.size() || !IsValidIdentifyData(page.data())) {
    return ProtocolResult::InvalidDeviceData;
  }
  parseIdentifyData(page.data(), *properties_);
  ReadFruData();
  if (properties_->smartSupported) {
    ReadSmartCapabilities();
  }
  *out = *properties_;
  return ProtocolResult::Success;
}

bool AtaProtocol::CanAddress(std::uint64_t lba, std::uint16_t sectors) const {
  // Counts beyond the register would be cut, and 0 stands for the largest count.
  const bool wide = properties_->lba48Supported;
  const std::uint64_t limit = wide ? kReach48 : kReach28;
  return sectors != 0 && (wide || sectors <= 255) && lba < limit && sectors <= limit - lba;
}

ProtocolResult AtaProtocol::Read(std::uint64_t lba, std::uint16_t sectors,
                                 std::uint32_t timeoutSeconds, void* buffer,
                                 std::uint32_t /*bufferBytes*/) {
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  if (sectorSize < kSmallestSectorBytes || buffer == nullptr || !CanAddress(lba, sectors)) {
    return ProtocolResult::InvalidArgument;
  }
  AtaCmd command;
  if (properties_->lba48Supported) {
    command = ReadSectorsExt(lba, sectors, sectorSize, buffer, timeoutSeconds);
  } else {
    command =
        ReadSectors(lba, static_cast<std::uint8_t>(sectors), sectorSize, buffer, timeoutSeconds);
  }
  const std::uint64_t asked = command.transferBytes;
  const ProtocolResult result = SendThroughBridges(command);
  if (!succeeded(result) && result != ProtocolResult::NoDataReturned) {
    return result;
  }
  if (!isRefused(command)) {
    // What did not come was not read, whatever the drive says.
    return succeeded(result) && command.transferBytes >= asked ? ProtocolResult::Success
                                                               : ProtocolResult::NoDataReturned;
  }
  if (!hasError(command)) {
    return ProtocolResult::DeviceError;  // a device fault: the error register has no meaning
  }
  if (hasError(command, ata::ErrorUncorrectable)) {
    return ProtocolResult::MediumError;
  }
  if (hasError(command, ata::ErrorInterfaceCrc)) {
    return ProtocolResult::InterfaceCrcError;
  }
  return ProtocolResult::DeviceError;
}

ProtocolResult AtaProtocol::Write(std::uint64_t lba, std::uint16_t sectors,
                                  std::uint64_t /*ignored*/, const void* buffer) {
  StorageProtocolProperties scratch;
  const ProtocolResult result = GetProperties(&scratch);
  if (!succeeded(result)) {
    return result;
  }
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  if (sectorSize < kSmallestSectorBytes || buffer == nullptr || !CanAddress(lba, sectors)) {
    return ProtocolResult::InvalidArgument;
  }
  // A command record has one buffer pointer for both directions; a data-out send only reads it.
  void* const source = const_cast<void*>(buffer);
  AtaCmd command;
  if (properties_->lba48Supported) {
    command = WriteSectorsExt(lba, sectors, sectorSize, source);
  } else {
    command = WriteSectors(lba, static_cast<std::uint8_t>(sectors), sectorSize, source);
  }
  return SendChecked(command);
}

ProtocolResult AtaProtocol::WriteUncorrectable(std::uint64_t lba) {
  if (lba >= kReach48) {
    return ProtocolResult::InvalidArgument;
  }
  WriteUncorrectableExt command(lba, 1, true);
  return SendChecked(command);
}

ProtocolResult AtaProtocol::StartSelfTest(std::uint8_t code, std::uint8_t second) {
  SmartExecuteOffline command(code, second);
  const ProtocolResult result = SendChecked(command);
  if (result != ProtocolResult::DeviceError || !hasError(command)) {
    return result;
  }
  if (hasError(command, ata::ErrorAborted)) {
    return ProtocolResult::SelfTestAbortedByDevice;
  }
  if (hasError(command, ata::ErrorIdNotFound)) {
    return ProtocolResult::SelfTestIdNotFound;
  }
  return ProtocolResult::DeviceError;
}

ProtocolResult AtaProtocol::AbortSelfTest() {
  constexpr std::uint8_t kAbort = 0x7F;
  SmartExecuteOffline command(kAbort, 0);
  return SendChecked(command);
}

ProtocolResult AtaProtocol::SetSmartEnabled(std::uint8_t enable) {
  SmartEnable command(enable != 0);
  return SendChecked(command);
}

ProtocolResult AtaProtocol::GetPowerMode(std::uint32_t* mode) {
  if (mode == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  AtaCheckPowerMode command;
  const ProtocolResult result = SendChecked(command);
  if (!succeeded(result)) {
    return result;
  }
  const std::uint8_t count = command.sectorCount;
  if (count <= 1) {
    *mode = Standby;
  } else if (count >= 0x80 && count <= 0x83) {
    *mode = Idle;
  } else {
    *mode = count == 0xFF ? Active : OtherMode;
  }
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::IdleImmediate() {
  AtaIdleImmediate command;
  return SendChecked(command);
}

}  // namespace ostria::storage
