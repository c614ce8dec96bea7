// Finds the device behind a mount point, a node or an image. The mount table names the root of some
// systems by what only the kernel command line knows, hence the way over /dev/block.
#include "platform/linux/volumes/linux_volume.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/volumes/blkid_probe.h"

namespace ostria::storage {
namespace {

bool isBlockDevice(const std::string& path) {
  struct stat about = {};
  return ::stat(path.c_str(), &about) == 0 && S_ISBLK(about.st_mode);
}

// The root's source may be a name that only the kernel's command line knows.
std::string nodeOf(const MountEntry& mount) {
  if (isBlockDevice(mount.source)) {
    return mount.source;
  }
  const std::uint32_t device = mount.device;
  return "/dev/block/" + std::to_string(device >> 8 & 0xFFF) + ":" +
         std::to_string((device & 0xFF) | (device >> 12 & 0xFFF00));
}

}  // namespace

std::optional<LinuxVolume> LinuxVolume::find(const std::string& path) {
  struct stat about = {};
  if (::stat(path.c_str(), &about) != 0) {
    return std::nullopt;
  }
  const std::vector<MountEntry> mounts = readMounts();
  // The last one mounted at a directory hides the others.
  const auto lastWith = [&](auto condition) {
    return std::find_if(mounts.rbegin(), mounts.rend(), condition);
  };
  LinuxVolume volume;
  if (S_ISDIR(about.st_mode)) {
    const auto mount = lastWith([&](const MountEntry& entry) { return entry.target == path; });
    if (mount == mounts.rend()) {
      return std::nullopt;
    }
    volume.device = nodeOf(*mount);
    volume.mountPoint = path;
    if (!isBlockDevice(volume.device)) {
      return std::nullopt;
    }
  } else if (S_ISBLK(about.st_mode)) {
    volume.device = path;
    const auto number = deviceNumberOf(major(about.st_rdev), minor(about.st_rdev));
    const auto mount = lastWith([&](const MountEntry& entry) { return entry.device == number; });
    if (mount != mounts.rend()) {
      volume.mountPoint = mount->target;
    }
  } else if (S_ISREG(about.st_mode)) {
    volume.device = path;
  } else {
    return std::nullopt;
  }
  if (const auto found = probeFilesystem(volume.device)) {
    volume.fileSystem = found->fileSystem;
  }
  return volume;
}

int LinuxVolumeOffline::take() {
  return volume_.mountPoint.empty() ? 0 : unmountFilesystem(volume_.mountPoint, taken_);
}

int LinuxVolumeOffline::giveBack() {
  const int error = mountAgain(taken_);
  taken_.clear();
  return error;
}

}  // namespace ostria::storage
