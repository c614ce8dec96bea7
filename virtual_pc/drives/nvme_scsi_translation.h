// The SCSI device that the system's NVMe driver makes of a drive.
#pragma once

#include <vector>

#include "virtual_pc/drives/device_model.h"
#include "virtual_pc/drives/nvme_drive.h"

namespace ostria::virtual_pc {

/// The SCSI translation that the system's driver gives an NVMe drive. Reads and writes go to the
/// drive as its own commands, with the faults that are planned for them.
class NvmeTranslation : public ScsiDeviceModel {
 public:
  /// @param drive, medium  outlive the translation
  NvmeTranslation(NvmeDrive& drive, std::uint32_t namespaceId, const BlockMedium& medium)
      : drive_(drive), namespaceId_(namespaceId), medium_(medium) {}

 private:
  void perform(ScsiExchange& exchange) override;
  void inquiry(ScsiExchange& exchange);
  void readCapacity10(ScsiExchange& exchange);
  void readCapacity16(ScsiExchange& exchange);
  void transfer(ScsiExchange& exchange, std::uint8_t opcode, std::uint64_t lba,
                std::uint64_t sectors);
  void modeSense(ScsiExchange& exchange, bool ten);
  void logSense(ScsiExchange& exchange);

  NvmeDrive& drive_;
  std::uint32_t namespaceId_;
  const BlockMedium& medium_;
};

}  // namespace ostria::virtual_pc
