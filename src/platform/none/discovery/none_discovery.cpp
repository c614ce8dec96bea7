// Discovery of disks, their buses and their partitions: a system that shows none has an empty
// inventory, which is no failure. The numbers are those that callers take for "not there".
#include "inventory/storage_scanner.h"
#include "services/sal.h"
#include "transport/emmc/emmc_utils.h"

namespace ostria::storage {
namespace {

constexpr int kNotSupported = 1;

class NoDeviceScanner final : public DeviceScanner {
 public:
  int listPaths(const DeviceScanFilter&, DevicePathMap& out) override {
    out.clear();
    return kNotSupported;
  }
  int deviceProperty(std::uint32_t, std::uint32_t, std::string*) override { return kNotSupported; }
  int devicePath(const DeviceScanFilter&, std::uint32_t, std::string*) override {
    return kNotSupported;
  }
  int deviceProperty(const DeviceScanFilter&, std::uint32_t, std::uint32_t, std::string*) override {
    return kNotSupported;
  }
  int open(const std::string&, DeviceHandle*) override { return kNotSupported; }
  int lock(DeviceHandle) override { return kNotSupported; }
  int close(DeviceHandle) override { return kNotSupported; }
  int listDevices(const DeviceScanFilter&, const std::vector<std::uint32_t>&,
                  std::vector<ListedDevice>& devices) override {
    devices.clear();
    return kNotSupported;
  }
};

class NoStorageScanner final : public StorageScanner {
 public:
  int listDevices(DevicePathMap& out) override {
    out.clear();
    return kNotSupported;
  }
  int getConnection(std::uint32_t, DeviceConnection*) override { return kNotSupported; }
  int readPartitionTable(std::uint32_t, PartitionTable*, std::uint64_t) override {
    return kNotSupported;
  }
  int getDeviceId(std::uint32_t, std::string*) override { return kNotSupported; }
  int isRemovableMedia(std::uint32_t, bool*) override { return kNotSupported; }
  int getBusKind(std::uint32_t, StorageBusKind* busKind, bool*) override {
    *busKind = StorageBusKind::Unknown;
    return kNotSupported;
  }
  int dismountVolume(const std::string&, DeviceHandle*) override { return kNotSupported; }
  int releaseVolume(std::string&, std::vector<std::string>&, DeviceHandle, std::string&) override {
    return kNotSupported;
  }
  int getMiniportPath(std::uint32_t, std::string*) override { return kNotSupported; }
  int getPciLocation(std::uint32_t, std::array<std::uint8_t, 3>*) override { return kNotSupported; }
};

class NoEmmcUtils final : public EmmcUtils {
 public:
  std::uint32_t Open(const std::string&) override { return kOpenFailed; }
  std::uint32_t Close() override { return kOpenFailed; }
  std::uint32_t GetGeometry(EmmcGeometry*) override { return kGeometryFailed; }
  std::uint32_t GetIdentity(EmmcIdentity*) override {
    return static_cast<std::uint32_t>(ProtocolResult::TransportFailure);
  }
  std::uint32_t ListVolumes(std::vector<EmmcVolume>*) override {
    return static_cast<std::uint32_t>(ProtocolResult::Failure);
  }
  std::string TemporaryDirectory(const std::string& rootPath) const override { return rootPath; }
};

}  // namespace

DeviceScanner* get_device_scanner() { return new NoDeviceScanner; }

void release_device_scanner(DeviceScanner* scanner) { delete scanner; }

std::unique_ptr<StorageScanner> makeStorageScanner() {
  return std::make_unique<NoStorageScanner>();
}

std::unique_ptr<EmmcUtils> makeEmmcUtils(DeviceHandle, const std::string&) {
  return std::make_unique<NoEmmcUtils>();
}

}  // namespace ostria::storage
