// The layer between SCSI and an ATA drive: in a port's driver or in a USB bridge.
#pragma once

#include "virtual_pc/drives/device_model.h"
#include "virtual_pc/drives/scsi_block.h"

namespace ostria::virtual_pc {

/// How an ATA drive can be reached through SCSI.
enum class SatLayerKind {
  Sat,      ///< SAT: ATA PASS-THROUGH, with the registers in the sense data
  SatNoCk,  ///< SAT without CK_COND: the registers have to be asked for
  Jmicron,  ///< command DFh
  Sunplus,  ///< command F8h
};

/// The SAT layer of an ATA drive, as a port's driver or a USB bridge offers it: block commands
/// become ATA commands, and ATA commands can be passed through (SAT-2, or the bridge vendor's own
/// way).
class SatLayer : public ScsiBlockDevice {
 public:
  /// Drive and medium outlive the layer.
  SatLayer(SatLayerKind kind, ScsiIdentity identity, AtaDeviceModel& drive, bool lba48,
           BlockMedium& medium);

 private:
  void transfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                std::uint64_t count) override;
  void other(ScsiExchange& exchange) override;

  void satPassThrough(ScsiExchange& exchange, bool sixteen);
  /// Whether protocol, length and direction of the CDB are those of the ATA command and of the
  /// host.
  bool acceptsPassThrough(const ScsiExchange& exchange, const AtaTaskFile& in, bool extended);
  void jmicron(ScsiExchange& exchange);
  void sunplus(ScsiExchange& exchange);
  /// Sends `ata` with the data and direction of `exchange`, and takes over what came of it. False
  /// when there was no answer.
  bool forward(ScsiExchange& exchange, AtaExchange& ata);
  void returnRegisters(ScsiExchange& exchange) const;

  SatLayerKind kind_;
  AtaDeviceModel& drive_;
  bool lba48_;
  AtaTaskFile preset_;  ///< previous bytes that a Sunplus preset left for the next command
  AtaTaskFile last_;    ///< registers of the last command passed through
  bool lastExtended_ = false;
};

}  // namespace ostria::virtual_pc
