// The commands of the SCSI/ATA translation standard (SAT) that carry ATA commands.
#pragma once

#include <cstdint>

#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

/// An ATA command in an ATA PASS-THROUGH command of the SCSI/ATA translation standard. Borrows the
/// ATA command's buffer.
class SatAtaPassThrough : public ScsiCmd {
 public:
  /// Makes the object a fresh pass-through, as the constructors do.
  /// @param ckCondition  asks for the output registers in the sense data
  virtual void Fill(const AtaCmd& command, bool ckCondition) = 0;
};

/// For commands without "previous" bytes.
class SatAtaPassThrough12 final : public SatAtaPassThrough {
 public:
  SatAtaPassThrough12(const AtaCmd& command, bool ckCondition);
  void Fill(const AtaCmd& command, bool ckCondition) override;
};

/// For 48-bit commands.
class SatAtaPassThrough16 final : public SatAtaPassThrough {
 public:
  SatAtaPassThrough16(const AtaCmd& command, bool ckCondition);
  void Fill(const AtaCmd& command, bool ckCondition) override;
};

/// Asks for the output registers of the last pass-through.
class SatGetAtaOutputRegisters final : public ScsiCmd {
 public:
  explicit SatGetAtaOutputRegisters(void* buffer);  ///< 14 bytes
};

}  // namespace ostria::storage
