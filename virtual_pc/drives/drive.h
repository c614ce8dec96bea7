// A drive as the system holds it: its medium and the models that answer for it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// Bus kinds as the system's storage descriptor numbers them.
enum class BusType : std::uint32_t {
  Unknown = 0,
  Scsi = 1,
  Atapi = 2,
  Ata = 3,
  FireWire = 4,
  Ssa = 5,
  Fibre = 6,
  Usb = 7,
  Raid = 8,
  Iscsi = 9,
  Sas = 10,
  Sata = 11,
  Sd = 12,
  Mmc = 13,
  Nvme = 17,
};

/// What the operating system tells of a disk without asking it.
struct DriveIdentity {
  std::string vendor;
  std::string product;
  std::string revision;
  std::string serial;
  BusType bus = BusType::Unknown;
  bool removable = false;
  bool predictsFailure = true;  ///< whether it has an opinion of the drive's health
};

/// One drive with its medium, the model that answers the wire commands, and the models that the
/// operating system's drivers talk to. A drive that the system has no disk for (a RAID member)
/// needs no `scsi`.
struct Drive {
  DriveIdentity identity;
  std::unique_ptr<BlockMedium> medium;
  std::unique_ptr<AtaDeviceModel> ata;    ///< the ATA drive, also when it sits behind a bridge
  std::unique_ptr<NvmeDeviceModel> nvme;  ///< the NVMe controller
  /// What the system's disk driver talks to: a SCSI drive, a bridge, or a translation. Every disk
  /// of the system has one.
  std::unique_ptr<ScsiDeviceModel> scsi;
  bool ataPassThrough = false;  ///< the port takes ATA pass-through requests for `ata`

  /// Takes the drive off its bus, with every model of it.
  void vanish() {
    if (ata) {
      ata->vanish();
    }
    if (nvme) {
      nvme->vanish();
    }
    if (scsi) {
      scsi->vanish();
    }
  }
};

}  // namespace ostria::virtual_pc
