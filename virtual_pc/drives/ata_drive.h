// The model of an ATA drive (ATA8-ACS).
#pragma once

#include <cstdint>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/ata_smart.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// An ATA drive (ATA8-ACS): identity, reading and writing, SMART, logs, power modes. A command that
/// it does not know is aborted, as every drive does.
class AtaDrive : public AtaDeviceModel {
 public:
  /// Clock and medium outlive the drive.
  AtaDrive(const DriveDescription& description, const Clock& clock, BlockMedium& medium);

  AtaSmart& smart() { return smart_; }
  PowerState power() const { return power_; }
  const DriveDescription& description() const { return description_; }

 private:
  void perform(AtaExchange& exchange) override;
  std::size_t sectorBytes() const override { return medium_.sectorBytes(); }
  /// Answers as the real drive did, with what has changed since put in.
  bool answerAsRecorded(AtaExchange& exchange);
  void identify(AtaExchange& exchange) const;
  void readLogExt(AtaExchange& exchange);
  void writeUncorrectable(AtaExchange& exchange);
  void checkPowerMode(AtaExchange& exchange) const;
  /// `extended` commands have 48-bit addresses.
  enum class Access { Read, Write };
  void access(AtaExchange& exchange, Access kind, bool extended);
  void settle(AtaExchange& exchange, const MediumAnswer& answer);
  /// Brings the medium up to speed, which takes time from standby on.
  void wake(AtaExchange& exchange);

  DriveDescription description_;
  BlockMedium& medium_;
  AtaSmart smart_;
  PowerState power_;
};

/// The 512 bytes of IDENTIFY DEVICE.
AtaPage makeIdentify(const DriveDescription& description, bool smartEnabled);

}  // namespace ostria::virtual_pc
