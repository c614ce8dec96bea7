// Scratch files on mounted volumes: without a file system that qualifies, the write test finds no
// volume and is not performed.
#include "services/volume_access.h"

namespace ostria::storage {

bool holdVolumePrivilege() { return false; }

void releaseVolumePrivilege() {}

bool setValidData(DeviceHandle, std::uint64_t) { return false; }

bool readFileSystemName(const std::string&, std::string&) { return false; }

std::uint32_t volumeSectorBytes(const std::string&) { return 0; }

bool dropCachedContent(DeviceHandle, const std::string&) { return false; }

const std::vector<std::string>& scratchFileSystems() {
  static const std::vector<std::string> kNone;
  return kNone;
}

}  // namespace ostria::storage
