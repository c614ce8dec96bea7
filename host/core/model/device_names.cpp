// The simulated system names its disks as Windows does.
#include "host/core/model/device_names.h"

namespace ostria::host {

DeviceNames simulatedDeviceNames(const std::string& id) {
  const bool number = id.find_first_not_of("0123456789") == std::string::npos;
  return {number && !id.empty() ? "\\\\.\\PhysicalDrive" + id : std::string(), {}, {}, {}};
}

}  // namespace ostria::host
