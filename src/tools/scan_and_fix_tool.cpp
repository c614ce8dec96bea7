// Rewrites bad sectors: a drive remaps a sector when it is written, and what reads back equal is
// mended.
#include "tools/scan_and_fix_tool.h"

#include <algorithm>

#include "base/sector_size.h"
#include "checks/device_checks.h"
#include "checks/read_timeout.h"
#include "inventory/read_evidence.h"

namespace ostria::storage {

ScanAndFixTool::ScanAndFixTool(Tool* owner) : ScanTool("SCAN_AND_FIX_TOOL", owner) {
  addLine(title_);
}

ToolStatus ScanAndFixTool::execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) {
  timeoutSeconds_ = chooseTimeout();
  statistics_.fill(0);
  unconfirmed_ = 0;
  hardwareErrors_ = 0;
  const ToolStatus status = ScanTool::execute(item, partitionIndex);
  if (unconfirmed_ != 0) {
    notices_.push_back("Bad sectors that were not rewritten, as the device did not confirm them: " +
                       std::to_string(unconfirmed_) + ".");
  }
  if (hardwareErrors_ != 0) {
    notices_.push_back(
        "Bad sectors that were not rewritten, as the device reported a hardware error: " +
        std::to_string(hardwareErrors_) + ".");
  }
  // A sector whose repair timed out is in no other counter, and still bad.
  return status == ToolStatus::Repaired && statistics_[Found] > statistics_[Fixed]
             ? ToolStatus::NotRepaired
             : status;
}

std::uint32_t ScanAndFixTool::chooseTimeout() {
  constexpr std::uint32_t kWithoutDevice = 30;
  return component_ == nullptr || component_->storageProtocol() == nullptr
             ? kWithoutDevice
             : chooseReadTimeout(*component_);
}

ToolStatus ScanAndFixTool::handleBadSector(std::uint64_t sector) {
  recordBadSector(sector);
  switch (rewrite(sector)) {
    case ProtocolResult::Success:
      addToStatistic(Fixed, 1);
      if (isListed()) {
        repairedSectors_.push_back(sector);
        addLine("BAD_SECTOR_FIXED_AT " + std::to_string(sector));
      }
      return ToolStatus::Repaired;
    case ProtocolResult::ReadTimeout:
      return ToolStatus::ReadTimeout;
    case ProtocolResult::WriteTimeout:
      return ToolStatus::WriteTimeout;
    default:
      addToStatistic(NotFixed, 1);
      if (isListed()) {
        addLine("BAD_SECTOR_NOT_FIXED_AT " + std::to_string(sector));
      }
      return ToolStatus::NotRepaired;
  }
}

ProtocolResult ScanAndFixTool::rewrite(std::uint64_t sector) {
  StorageProtocolProperties properties;
  if (const ProtocolResult result = protocol_->GetProperties(&properties); !succeeded(result)) {
    return result;
  }
  // Without a size nothing could be compared, and nothing compared would pass for repaired.
  if (properties.logicalSectorSize < kSmallestSectorBytes) {
    return ProtocolResult::Failure;
  }
  const std::uint32_t bytes = sectorBufferBytes(properties);
  std::vector<std::uint8_t> pattern(bytes);
  std::vector<std::uint8_t> readBack(bytes);
  for (std::size_t i = 0; i < bytes; i += 2) {
    pattern[i] = 0x01;
  }

  // The write destroys what the sector holds, so the device itself has to say once more that it
  // holds nothing: a cable, a driver or a passing fault lets reads fail as well.
  const ProtocolResult confirmed =
      protocol_->Read(sector, 1, timeoutSeconds_, readBack.data(), bytes);
  if (confirmed != ProtocolResult::MediumError) {
    ++unconfirmed_;
    return succeeded(confirmed) ? ProtocolResult::Failure : confirmed;
  }
  // Broken electronics fail every read so, of sectors that are well, too.
  if (lastReadMetHardwareError(*protocol_)) {
    ++hardwareErrors_;
    return ProtocolResult::DeviceError;
  }
  if (const ProtocolResult result = protocol_->Write(sector, 1, timeoutSeconds_, pattern.data());
      !succeeded(result)) {
    return result;
  }
  if (const ProtocolResult result =
          component_->readSectors(sector, 1, readBack.data(), false, bytes, timeoutSeconds_);
      !succeeded(result)) {
    return result;
  }
  const auto end = pattern.begin() + properties.logicalSectorSize;
  return std::equal(pattern.begin(), end, readBack.begin()) ? ProtocolResult::Success
                                                            : ProtocolResult::Failure;
}

}  // namespace ostria::storage
