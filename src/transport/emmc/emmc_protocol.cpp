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
      partition.tempDirectory = volume.rootPath + "\\Temp";
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

ProtocolResult EmmcProtocol::Read(std::uint64_t, std::uint16_t, std::uint32_t, void*,
                                  std::uint32_t) {
  return ProtocolResult::NotSupported;
}
ProtocolResult EmmcProtocol::Write(std::uint64_t, std::uint16_t, std::uint64_t, const void*) {
  return ProtocolResult::NotSupported;
}

ProtocolResult EmmcProtocol::StartSelfTest(std::uint8_t, std::uint8_t) {
  return ProtocolResult::Success;
}
ProtocolResult EmmcProtocol::GetSelfTestProgress(std::uint8_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::GetSelfTestResult(std::uint8_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::AbortSelfTest() { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::GetSelfTestOperation(std::uint8_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::GetSmartStatus(std::uint8_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::SetSmartEnabled(std::uint8_t) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::WriteUncorrectable(std::uint64_t) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::GetWearIndicator(std::uint32_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::GetPowerMode(std::uint32_t*) { return ProtocolResult::Success; }
ProtocolResult EmmcProtocol::IdleImmediate() { return ProtocolResult::Success; }

}  // namespace ostria::storage
