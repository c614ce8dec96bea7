#pragma once

#include "tools/scan_tool.h"

namespace ostria::storage {

/// A scan that overwrites each bad sector, reads it back and compares: a drive remaps a bad sector
/// when it is written. The old content of such a sector is lost; no other sector is written, and
/// none whose medium error the protocol's own read of it does not confirm; a hardware error of the
/// device is no such confirmation.
class ScanAndFixTool : public ScanTool {
 public:
  explicit ScanAndFixTool(Tool* owner);

  ToolStatus execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) override;
  /// @return `Repaired`, `NotRepaired`, or the time-out that ended the repair
  ToolStatus handleBadSector(std::uint64_t sector) override;

 private:
  std::uint32_t chooseTimeout();
  ProtocolResult rewrite(std::uint64_t sector);

  std::uint64_t unconfirmed_ = 0;     ///< sectors that were left alone
  std::uint64_t hardwareErrors_ = 0;  ///< left alone as the device is what fails
};

}  // namespace ostria::storage
