// From the description of a drive to its models: which kind speaks what.
#include "virtual_pc/drives/make_drive.h"

#include <utility>

#include "virtual_pc/drives/ata_drive.h"
#include "virtual_pc/drives/nvme_drive.h"
#include "virtual_pc/drives/nvme_scsi_translation.h"
#include "virtual_pc/drives/sat_layer.h"
#include "virtual_pc/drives/scsi_drive.h"

namespace ostria::virtual_pc {

namespace {

ScsiIdentity scsiIdentity(const DriveDescription& description) {
  ScsiIdentity out;
  out.vendor = description.vendor;
  out.product = description.model;
  out.revision = description.firmware;
  out.serial = description.serial;
  out.removable = description.removable;
  out.rotation = description.solidState ? std::uint16_t{1} : description.rotationRate;
  while ((description.sectorBytes << out.physicalExponent) < description.physicalSectorBytes) {
    ++out.physicalExponent;
  }
  out.traits = description.scsi;
  return out;
}

BusType busOf(const DriveDescription& description) {
  if (description.shownAsRaid) {
    return BusType::Raid;
  }
  switch (description.kind) {
    case DriveKind::Sata:
      return BusType::Sata;
    case DriveKind::UsbSat:
    case DriveKind::UsbSatNoCk:
    case DriveKind::UsbJmicron:
    case DriveKind::UsbSunplus:
    case DriveKind::UsbStick:
      return BusType::Usb;
    case DriveKind::Sas:
      return BusType::Sas;
    case DriveKind::Nvme:
      return BusType::Nvme;
    case DriveKind::Emmc:
      return BusType::Mmc;
    case DriveKind::Sd:
      return BusType::Sd;
  }
  return BusType::Unknown;
}

SatLayerKind layerOf(DriveKind kind) {
  switch (kind) {
    case DriveKind::UsbSatNoCk:
      return SatLayerKind::SatNoCk;
    case DriveKind::UsbJmicron:
      return SatLayerKind::Jmicron;
    case DriveKind::UsbSunplus:
      return SatLayerKind::Sunplus;
    default:
      return SatLayerKind::Sat;
  }
}

void makeAta(const DriveDescription& description, Clock& clock, Drive* drive) {
  drive->ata = std::make_unique<AtaDrive>(description, clock, *drive->medium);
  ScsiIdentity identity = scsiIdentity(description);
  if (description.kind == DriveKind::Sata) {
    identity.vendor = "ATA";
  }
  drive->ataPassThrough = description.kind == DriveKind::Sata;
  drive->scsi = std::make_unique<SatLayer>(layerOf(description.kind), std::move(identity),
                                           *drive->ata, description.lba48, *drive->medium);
}

/// @param controller  another namespace's drive; null: the drive has a controller of its own
void makeNvme(const DriveDescription& description, Clock& clock, Drive* controller, Drive* drive) {
  const std::uint32_t id = description.nvme.traits.namespaceId;
  if (controller == nullptr) {
    auto nvme = std::make_unique<NvmeDrive>(description.nvme.traits, *drive->medium, clock);
    nvme->setRecorded(description.recorded.nvme);
    drive->scsi = std::make_unique<NvmeTranslation>(*nvme, id, *drive->medium);
    drive->nvme = std::move(nvme);
    return;
  }
  auto& shared = dynamic_cast<NvmeDrive&>(*controller->nvme);
  shared.addNamespace(id, *drive->medium);
  drive->scsi = std::make_unique<NvmeTranslation>(shared, id, *drive->medium);
  drive->nvme = std::make_unique<NvmeNamespaceModel>(shared);
}

}  // namespace

std::unique_ptr<Drive> makeDrive(const DriveDescription& description, Clock& clock,
                                 Drive* controller) {
  auto drive = std::make_unique<Drive>();
  drive->identity = {description.vendor,        description.model,  description.firmware,
                     description.serial,        busOf(description), description.removable,
                     description.systemPredicts};
  drive->medium = std::make_unique<BlockMedium>(description.sectors, description.sectorBytes,
                                                description.timing);
  for (const BadSectors& run : description.badSectors) {
    drive->medium->addBadSectors(run);
  }

  FaultPlan* plan = nullptr;
  switch (description.kind) {
    case DriveKind::Sata:
    case DriveKind::UsbSat:
    case DriveKind::UsbSatNoCk:
    case DriveKind::UsbJmicron:
    case DriveKind::UsbSunplus:
      makeAta(description, clock, drive.get());
      plan = &drive->ata->faults();
      break;
    case DriveKind::Nvme:
      makeNvme(description, clock, controller, drive.get());
      plan = &drive->nvme->faults();
      break;
    case DriveKind::Sas:
      drive->scsi = std::make_unique<ScsiDrive>(description, scsiIdentity(description), clock,
                                                *drive->medium);
      plan = &drive->scsi->faults();
      break;
    case DriveKind::UsbStick:
    case DriveKind::Emmc:
    case DriveKind::Sd:
      drive->scsi = std::make_unique<ScsiBlockDevice>(scsiIdentity(description), *drive->medium);
      plan = &drive->scsi->faults();
      break;
  }
  drive->scsi->recorded().set(description.recorded.scsi);
  for (const FaultRule& rule : description.faults) {
    plan->add(rule);
  }
  for (const FaultRule& rule : description.bridgeFaults) {
    drive->scsi->faults().add(rule);
  }
  return drive;
}

}  // namespace ostria::virtual_pc
