// eMMC and SD devices as the operating system describes them: no command reaches them.

#include "transport/emmc/emmc_protocol.h"

#include "base/sector_size.h"

namespace ostria::storage {

EmmcProtocol::EmmcProtocol(DeviceHandle handle, std::string devicePath)
    : handle_(handle),
      devicePath_(std::move(devicePath)),
      utils_(makeEmmcUtils(handle_, devicePath_)) {}

EmmcProtocol::~EmmcProtocol() = default;

ProtocolResult EmmcProtocol::GetProperties(StorageProtocolProperties* out) {
  if (out == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  EmmcGeometry geometry;
  EmmcIdentity identity;
  if (utils_->GetGeometry(&geometry) == 0 && utils_->GetIdentity(&identity) == 0) {
    StorageProtocolProperties& p = *properties_;
    p.protocolName = "EMMC";
    p.firmwareRevision = identity.revision;
    p.modelNumber = identity.product;
    p.serialNumber = identity.serialNumber;
    p.vendor = identity.vendor;
    p.totalSectors = geometry.totalSectors;
    p.logicalSectorSize = knownSectorSize(geometry.bytesPerSector);
    p.physicalSectorSize = p.logicalSectorSize;
    p.solidState = true;
    p.securityLocked = false;
    p.smartEnabled = false;
    p.lba48Supported = false;
    p.standards.clear();
  }
  *out = *properties_;

  std::vector<EmmcVolume> found;
  const std::uint32_t listed = utils_->ListVolumes(&found);
  if (listed == 0) {
    volumes_.clear();
    for (const EmmcVolume& volume : found) {
      StoragePartitionProperties partition;
      partition.devicePath = volume.devicePath;
      partition.tempDirectory = utils_->TemporaryDirectory(volume.rootPath);
      partition.fileSystem = volume.fileSystem;
      volumes_.push_back(partition);
    }
  }
  return static_cast<ProtocolResult>(listed);
}

ProtocolResult EmmcProtocol::GetTemperature(std::uint8_t* celsius) {
  if (celsius == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  *celsius = 0;
  return ProtocolResult::Success;
}

ProtocolResult EmmcProtocol::GetFirstFailedLba(std::uint64_t* lba) {
  if (lba == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  *lba = 0;
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
