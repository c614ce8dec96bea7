// The module's name of a disk is its number, and so is that of its node. Windows has no links to
// it.
#include "host/platform/device_names.h"

namespace ostria::host {

DeviceNames deviceNames(const std::string& id) {
  DeviceNames names;
  if (!id.empty() && id.find_first_not_of("0123456789") == std::string::npos) {
    names.node = "\\\\.\\PhysicalDrive" + id;
  }
  return names;
}

std::string resolvedDevicePath(const std::string& path) { return path; }

// The node would have to be opened for it.
std::string deviceIdAt(const std::string& /*path*/) { return {}; }

}  // namespace ostria::host
