// The translation of SMART into SCSI pages, as SAS controllers have it.
#pragma once

#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// The SAT layer that a SAS controller's firmware gives to a SATA drive: beside the block commands
/// it translates what asks for health (SAT-3): log page 2Fh and the informational
/// exceptions page. Drive and layer outlive it.
class SatHealth : public ScsiDeviceModel {
 public:
  SatHealth(AtaDeviceModel& drive, ScsiDeviceModel& layer) : drive_(drive), layer_(layer) {}

 private:
  void perform(ScsiExchange& exchange) override;

  /// Sends an ATA command that reads so many bytes. False when the drive refused it or was not
  /// there; the exchange then says so.
  bool send(ScsiExchange& exchange, AtaExchange& ata, std::size_t readBytes);
  bool smart(ScsiExchange& exchange, AtaExchange& ata, std::uint8_t subcommand);
  void logSense(ScsiExchange& exchange);
  void modeSense(ScsiExchange& exchange, bool ten);
  void modeSelect(ScsiExchange& exchange, bool ten);

  AtaDeviceModel& drive_;
  ScsiDeviceModel& layer_;
};

}  // namespace ostria::virtual_pc
