// The commands of USB adapters from before SAT.
#pragma once

#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

// An ATA data-in command in the pass-through command of a USB adapter. All borrow the ATA command's
// buffer.

class JMicronAtaPassThrough12 final : public ScsiCmd {
 public:
  explicit JMicronAtaPassThrough12(const AtaCmd& ata);
};

class SunplusAtaPassThrough final : public ScsiCmd {
 public:
  explicit SunplusAtaPassThrough(const AtaCmd& ata);
};

/// Loads the "previous" bytes; goes before the pass-through of a 48-bit command.
class SunplusAtaPassthroughPreset final : public ScsiCmd {
 public:
  explicit SunplusAtaPassthroughPreset(const AtaCmd& ata);
};

}  // namespace ostria::storage
