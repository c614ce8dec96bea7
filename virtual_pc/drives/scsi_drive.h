// The model of a SAS drive.
#pragma once

#include <cstdint>
#include <vector>

#include "virtual_pc/drives/scsi_block.h"
#include "virtual_pc/drives/self_test_engine.h"

namespace ostria::virtual_pc {

/// SAS or SCSI drive: the block commands, and mode pages, log pages, self-tests and informational
/// exceptions (SPC-4).
class ScsiDrive : public ScsiBlockDevice {
 public:
  /// Clock and medium outlive the drive.
  ScsiDrive(const DriveDescription& description, ScsiIdentity identity, const Clock& clock,
            BlockMedium& medium);

 private:
  void other(ScsiExchange& exchange) override;
  void requestSense(ScsiExchange& exchange) override;
  void sendDiagnostic(ScsiExchange& exchange);
  void modeSense(ScsiExchange& exchange, bool ten);
  void modeSelect(ScsiExchange& exchange, bool ten);
  void logSense(ScsiExchange& exchange);
  std::vector<std::uint8_t> selfTestPage();
  /// Whether the drive reports its failure when it is asked.
  bool reportsFailure() const;

  SmartDescription smart_;
  std::uint8_t temperature_;
  SelfTestEngine selfTests_;
  std::uint8_t iecFlags_;   ///< byte 2 of the informational exceptions page
  std::uint8_t iecMethod_;  ///< byte 3: MRIE
};

}  // namespace ostria::virtual_pc
