#pragma once

#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// The SCSI face that a SAS controller's firmware gives to a SATA drive: beside the block commands
/// of its face it translates what asks for health (SAT-3): log page 2Fh and the informational
/// exceptions page. Drive and face outlive it.
class SatHealth : public ScsiTarget {
 public:
  SatHealth(AtaTarget& drive, ScsiTarget& face) : drive_(drive), face_(face) {}

 private:
  void perform(ScsiExchange& exchange) override;

  /// Sends an ATA command that reads so many bytes. False when the drive refused it or was not
  /// there; the exchange then says so.
  bool send(ScsiExchange& exchange, AtaExchange& ata, std::size_t readBytes);
  bool smart(ScsiExchange& exchange, AtaExchange& ata, std::uint8_t subcommand);
  void logSense(ScsiExchange& exchange);
  void modeSense(ScsiExchange& exchange, bool ten);
  void modeSelect(ScsiExchange& exchange, bool ten);

  AtaTarget& drive_;
  ScsiTarget& face_;
};

}  // namespace ostria::virtual_pc
