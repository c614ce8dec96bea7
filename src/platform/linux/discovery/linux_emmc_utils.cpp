// What the card driver shows of an eMMC or SD device in sysfs, and its size from the block layer.

#include "platform/linux/discovery/linux_emmc_utils.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>

#include "base/protocol_result.h"
#include "platform/linux/discovery/card_identity.h"
#include "platform/linux/discovery/linux_device_scanner.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/volumes/mounts.h"

namespace ostria::storage {

std::unique_ptr<EmmcUtils> makeEmmcUtils(DeviceHandle handle, const std::string& /*devicePath*/) {
  return std::make_unique<LinuxEmmcUtils>(handle);
}

std::optional<SysfsDisk> LinuxEmmcUtils::disk() const {
  struct stat status = {};
  if (::fstat(descriptorOf(handle_), &status) != 0 || !S_ISBLK(status.st_mode)) {
    return std::nullopt;
  }
  return tree_.disk(deviceNumberOf(major(status.st_rdev), minor(status.st_rdev)));
}

std::uint32_t LinuxEmmcUtils::Open(const std::string& path) {
  return LinuxDeviceScanner().open(path, &handle_) == 0 ? 0 : kOpenFailed;
}

std::uint32_t LinuxEmmcUtils::Close() {
  const int closed = LinuxDeviceScanner().close(handle_);
  handle_ = DeviceHandle();
  return closed == 0 ? 0 : 1;
}

std::uint32_t LinuxEmmcUtils::GetGeometry(EmmcGeometry* out) {
  const int descriptor = descriptorOf(handle_);
  int sectorBytes = 0;
  std::uint64_t bytes = 0;
  if (out == nullptr || ::ioctl(descriptor, BLKSSZGET, &sectorBytes) != 0 || sectorBytes <= 0 ||
      ::ioctl(descriptor, BLKGETSIZE64, &bytes) != 0) {
    return kGeometryFailed;
  }
  const auto found = disk();
  out->bytesPerSector = static_cast<std::uint32_t>(sectorBytes);
  out->totalSectors = bytes / out->bytesPerSector;
  out->cylinders = out->totalSectors;
  out->tracksPerCylinder = 1;
  out->sectorsPerTrack = 1;
  if (!found) {
    out->mediaKind = EmmcMediaKind::Other;
  } else {
    out->mediaKind = found->removable ? EmmcMediaKind::Removable : EmmcMediaKind::Fixed;
  }
  return 0;
}

std::uint32_t LinuxEmmcUtils::GetIdentity(EmmcIdentity* out) {
  const auto found = disk();
  if (out == nullptr || !found) {
    return static_cast<std::uint32_t>(ProtocolResult::TransportFailure);
  }
  const std::string card = found->path + "/device";
  out->serialNumber = tree_.attribute(card, "serial");
  out->product = tree_.attribute(card, "name");
  const bool sd = tree_.attribute(card, "type") == "SD";
  out->vendor = cardManufacturer(sd, tree_.attribute(card, "manfid"));
  out->revision = sd ? sdRevision(tree_.attribute(card, "hwrev"), tree_.attribute(card, "fwrev"))
                     : mmcRevision(tree_.attribute(card, "fwrev"));
  return 0;
}

std::uint32_t LinuxEmmcUtils::ListVolumes(std::vector<EmmcVolume>* out) {
  const auto found = disk();
  if (out == nullptr || !found) {
    return static_cast<std::uint32_t>(ProtocolResult::Failure);
  }
  std::vector<EmmcVolume> volumes;
  std::vector<SysfsPartition> areas = tree_.partitions(*found);
  areas.push_back({found->number, 0, found->node, found->path});
  const std::vector<MountEntry> mounts = readMounts();
  for (const SysfsPartition& area : areas) {
    const std::vector<std::uint32_t> devices = tree_.withHolders(area.path);
    for (const MountEntry& mount : mounts) {
      if (mount.source == area.node ||
          std::find(devices.begin(), devices.end(), mount.device) != devices.end()) {
        volumes.push_back({area.node, mount.target, fileSystemOf(mount)});
      }
    }
  }
  *out = std::move(volumes);
  return 0;
}

std::string LinuxEmmcUtils::TemporaryDirectory(const std::string& rootPath) const {
  return rootPath + (rootPath.ends_with('/') ? "tmp" : "/tmp");
}

}  // namespace ostria::storage
