// The Linux side of what the write test asks of volumes.
#include <algorithm>

#include "platform/linux/volumes/mounts.h"
#include "services/volume_access.h"

namespace ostria::storage {

// A file of a given size is sparse here: no zeros are written, and no right is needed for that.
bool holdVolumePrivilege() { return false; }

void releaseVolumePrivilege() {}

bool setValidData(DeviceHandle, std::uint64_t) { return true; }

bool readFileSystemName(const std::string& mountPoint, std::string& name) {
  // The last one mounted at a directory hides the others.
  const std::vector<MountEntry> mounts = readMounts();
  const auto found = std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& mount) {
    return mount.target == mountPoint;
  });
  if (found == mounts.rend()) {
    return false;
  }
  name = fileSystemOf(*found);
  return true;
}

const std::vector<std::string>& scratchFileSystems() {
  static const std::vector<std::string> kNames{"ntfs", "ext4", "ext3"};
  return kNames;
}

}  // namespace ostria::storage
