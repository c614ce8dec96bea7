// The task files of ACS-3, field by field. SMART commands carry their signature in LBA mid and
// high.
#include "transport/ata/ata_cmd.h"

#include <numeric>

#include "base/byte_order.h"
#include "transport/ata/ata_opcodes.h"

namespace ostria::storage {

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
// Pass-through code copies the register file as five 16-bit values and two bytes.
static_assert(offsetof(AtaCmd, featuresPrevious) == offsetof(AtaCmd, features) + 1);
static_assert(offsetof(AtaCmd, sectorCount) == offsetof(AtaCmd, features) + 2);
static_assert(offsetof(AtaCmd, sectorCountPrevious) == offsetof(AtaCmd, features) + 3);
static_assert(offsetof(AtaCmd, lbaLow) == offsetof(AtaCmd, features) + 4);
static_assert(offsetof(AtaCmd, lbaLowPrevious) == offsetof(AtaCmd, features) + 5);
static_assert(offsetof(AtaCmd, lbaMid) == offsetof(AtaCmd, features) + 6);
static_assert(offsetof(AtaCmd, lbaMidPrevious) == offsetof(AtaCmd, features) + 7);
static_assert(offsetof(AtaCmd, lbaHigh) == offsetof(AtaCmd, features) + 8);
static_assert(offsetof(AtaCmd, lbaHighPrevious) == offsetof(AtaCmd, features) + 9);
static_assert(offsetof(AtaCmd, device) == offsetof(AtaCmd, features) + 10);
static_assert(offsetof(AtaCmd, command) == offsetof(AtaCmd, features) + 11);
#pragma GCC diagnostic pop

constexpr std::uint8_t kLbaMode = 0x40;

void setCount(AtaCmd& cmd, std::uint16_t count) {
  cmd.sectorCount = byteOf(count, 0);
  cmd.sectorCountPrevious = byteOf(count, 1);
}

void setLba28(AtaCmd& cmd, std::uint64_t lba) {
  cmd.lbaLow = byteOf(lba, 0);
  cmd.lbaMid = byteOf(lba, 1);
  cmd.lbaHigh = byteOf(lba, 2);
  cmd.device = static_cast<std::uint8_t>(kLbaMode | (byteOf(lba, 3) & 0x0F));
}

void setLba48(AtaCmd& cmd, std::uint64_t lba) {
  cmd.lbaLow = byteOf(lba, 0);
  cmd.lbaMid = byteOf(lba, 1);
  cmd.lbaHigh = byteOf(lba, 2);
  cmd.lbaLowPrevious = byteOf(lba, 3);
  cmd.lbaMidPrevious = byteOf(lba, 4);
  cmd.lbaHighPrevious = byteOf(lba, 5);
  cmd.device = kLbaMode;
}

void setData(AtaCmd& cmd, DataDirection direction, std::uint64_t bytes, void* buffer) {
  cmd.dataDirection = direction;
  cmd.transferBytes = bytes;
  cmd.data = buffer;
}

void setSmart(AtaCmd& cmd, ata::SmartSubcommand subcommand) {
  cmd.command = ata::Smart;
  cmd.features = subcommand;
  cmd.lbaMid = ata::kSmartLbaMid;
  cmd.lbaHigh = ata::kSmartLbaHigh;
}

void setSmartPage(AtaCmd& cmd, ata::SmartSubcommand subcommand, void* buffer) {
  setSmart(cmd, subcommand);
  cmd.sectorCount = 1;
  setData(cmd, DataDirection::FromDevice, kAtaPageBytes, buffer);
  cmd.wantRegisters = true;
}

}  // namespace

IdentifyDevice::IdentifyDevice(void* buffer) {
  command = ata::IdentifyDevice;
  sectorCount = 1;
  setData(*this, DataDirection::FromDevice, kAtaPageBytes, buffer);
}

AtaCheckPowerMode::AtaCheckPowerMode() {
  command = ata::CheckPowerMode;
  timeoutSeconds = 30;
  wantRegisters = true;
}

AtaIdleImmediate::AtaIdleImmediate() {
  command = ata::IdleImmediate;
  timeoutSeconds = 30;
}

ReadLogExt::ReadLogExt(std::uint8_t log, std::uint16_t pages, void* buffer,
                       std::uint16_t firstPage) {
  command = ata::ReadLogExt;
  setCount(*this, pages);
  lbaLow = log;
  lbaMid = byteOf(firstPage, 0);
  lbaMidPrevious = byteOf(firstPage, 1);
  setData(*this, DataDirection::FromDevice, std::uint64_t{pages} * kAtaPageBytes, buffer);
}

ReadSectors::ReadSectors(std::uint64_t lba, std::uint8_t sectors, std::uint32_t sectorSize,
                         void* buffer, std::uint32_t timeout) {
  command = ata::ReadSectors;
  sectorCount = sectors;
  setLba28(*this, lba);
  setData(*this, DataDirection::FromDevice, std::uint64_t{sectors} * sectorSize, buffer);
  timeoutSeconds = timeout;
  wantRegisters = true;
}

ReadSectorsExt::ReadSectorsExt(std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize,
                               void* buffer, std::uint32_t timeout) {
  command = ata::ReadSectorsExt;
  setCount(*this, sectors);
  setLba48(*this, lba);
  setData(*this, DataDirection::FromDevice, std::uint64_t{sectors} * sectorSize, buffer);
  timeoutSeconds = timeout;
  wantRegisters = true;
}

SmartEnable::SmartEnable(bool enable) {
  setSmart(*this, enable ? ata::SmartEnable : ata::SmartDisable);
}

SmartExecuteOffline::SmartExecuteOffline(std::uint8_t subcommand, std::uint8_t count) {
  setSmart(*this, ata::SmartExecuteOffline);
  sectorCount = count;
  lbaLow = subcommand;
  wantRegisters = true;
}

SmartReadData::SmartReadData(void* buffer) { setSmartPage(*this, ata::SmartReadData, buffer); }

SmartReadLog::SmartReadLog(std::uint8_t log, std::uint8_t pages, void* buffer) {
  setSmart(*this, ata::SmartReadLog);
  sectorCount = pages;
  lbaLow = log;
  setData(*this, DataDirection::FromDevice, std::uint64_t{pages} * kAtaPageBytes, buffer);
}

SmartReturnStatus::SmartReturnStatus() {
  setSmart(*this, ata::SmartReturnStatus);
  wantRegisters = true;
}

SmartReadWarrantyThresholds::SmartReadWarrantyThresholds(void* buffer) {
  setSmartPage(*this, ata::SmartReadThresholds, buffer);
}

WriteSectors::WriteSectors(std::uint64_t lba, std::uint8_t sectors, std::uint32_t sectorSize,
                           void* buffer) {
  command = ata::WriteSectors;
  sectorCount = sectors;
  setLba28(*this, lba);
  setData(*this, DataDirection::ToDevice, std::uint64_t{sectors} * sectorSize, buffer);
  wantRegisters = true;
}

WriteSectorsExt::WriteSectorsExt(std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize,
                                 void* buffer) {
  command = ata::WriteSectorsExt;
  setCount(*this, sectors);
  setLba48(*this, lba);
  setData(*this, DataDirection::ToDevice, std::uint64_t{sectors} * sectorSize, buffer);
  wantRegisters = true;
}

WriteUncorrectableExt::WriteUncorrectableExt(std::uint64_t lba, std::uint16_t sectors,
                                             bool pseudo) {
  command = ata::WriteUncorrectableExt;
  features = pseudo ? ata::kPseudoUncorrectable : ata::kFlaggedUncorrectable;
  setCount(*this, sectors);
  setLba48(*this, lba);
  wantRegisters = true;
}

bool IsLba48Command(std::uint8_t command) {
  // READ MULTIPLE EXT is wide too, but nothing here sends it, and as a narrow command it does no
  // harm.
  return command != ata::ReadMultipleExt && ata::traitsOf(command).has(ata::Wide);
}

void clearRegisters(AtaCmd& command) {
  command.features = command.featuresPrevious = 0;
  command.sectorCount = command.sectorCountPrevious = 0;
  command.lbaLow = command.lbaLowPrevious = 0;
  command.lbaMid = command.lbaMidPrevious = 0;
  command.lbaHigh = command.lbaHighPrevious = 0;
  command.device = command.command = 0;
}

bool isRefused(const AtaCmd& command) {
  return (command.command & (ata::StatusError | ata::StatusDeviceFault)) != 0;
}

bool ByteSum(const void* data, std::size_t length) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return std::accumulate(bytes, bytes + length, 0u) % 256 == 0;
}

std::string SwapWordString(const std::uint8_t* words, std::size_t wordCount) {
  std::string text;
  text.reserve(2 * wordCount);
  for (std::size_t i = 0; i < wordCount; ++i) {
    text.push_back(static_cast<char>(words[2 * i + 1]));
    text.push_back(static_cast<char>(words[2 * i]));
  }
  return text;
}

std::uint64_t MakeLba48(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2, std::uint8_t b3,
                        std::uint8_t b4, std::uint8_t b5) {
  const std::uint8_t bytes[8] = {b0, b1, b2, b3, b4, b5};
  return loadLe64(bytes);
}

}  // namespace ostria::storage
