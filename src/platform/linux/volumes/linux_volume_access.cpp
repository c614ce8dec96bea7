// What the write test asks of a mounted volume. The mount table says what lies under a directory;
// the test's file must be read back from the medium, which the kernel promises for unbuffered
// access on some file systems only.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/volumes/mounts.h"
#include "services/volume_access.h"

namespace ostria::storage {

namespace {

std::optional<MountEntry> mountAt(const std::string& mountPoint) {
  // The last one mounted at a directory hides the others.
  const std::vector<MountEntry> mounts = readMounts();
  const auto found = std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& mount) {
    return mount.target == mountPoint;
  });
  return found == mounts.rend() ? std::nullopt : std::optional<MountEntry>(*found);
}

bool hasOption(const std::string& options, const std::string& option) {
  return ("," + options + ",").find("," + option + ",") != std::string::npos;
}

}  // namespace

// A file of a given size is sparse here: no zeros are written, and no right is needed for that.
bool holdVolumePrivilege() { return false; }

void releaseVolumePrivilege() {}

bool setValidData(DeviceHandle, std::uint64_t) { return true; }

bool readFileSystemName(const std::string& mountPoint, std::string& name) {
  const std::optional<MountEntry> mount = mountAt(mountPoint);
  // With the data in the journal the kernel has no unbuffered access, and keeps what was written
  // until the journal is emptied.
  if (!mount || hasOption(mount->options, "data=journal")) {
    return false;
  }
  name = fileSystemOf(*mount);
  return true;
}

std::uint32_t volumeSectorBytes(const std::string& mountPoint) {
  const std::optional<MountEntry> mount = mountAt(mountPoint);
  if (!mount) {
    return 0;
  }
  const FdOwner device(::open(mount->source.c_str(), O_RDONLY | O_CLOEXEC));
  int sectorBytes = 0;
  if (device.valid() && ::ioctl(device.get(), BLKSSZGET, &sectorBytes) == 0 && sectorBytes > 0) {
    return static_cast<std::uint32_t>(sectorBytes);
  }
  // Without rights on the device: the block of the file system, a multiple of the sector below it.
  struct statvfs status = {};
  return ::statvfs(mountPoint.c_str(), &status) == 0 ? static_cast<std::uint32_t>(status.f_frsize)
                                                     : 0;
}

bool dropCachedContent(DeviceHandle file, const std::string& mountPoint) {
  const int descriptor = descriptorOf(file);
  if (::fsync(descriptor) != 0) {
    return false;
  }
  // For a file that could not be opened unbuffered.
  if (::posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED) != 0) {
    return false;
  }
  const std::optional<MountEntry> mount = mountAt(mountPoint);
  if (!mount) {
    return false;
  }
  // A file system in user space reads its device through the kernel's cache of that device.
  if (mount->type.rfind("fuse", 0) != 0) {
    return true;
  }
  const FdOwner device(::open(mount->source.c_str(), O_RDONLY | O_CLOEXEC));
  return device.valid() && ::ioctl(device.get(), BLKFLSBUF, 0) == 0;
}

const std::vector<std::string>& scratchFileSystems() {
  static const std::vector<std::string> kNames{"ntfs", "ext4", "ext3"};
  return kNames;
}

}  // namespace ostria::storage
