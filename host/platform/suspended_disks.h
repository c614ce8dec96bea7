// Disks that the operating system itself has put to sleep.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

struct SuspendedDisk {
  std::string id;    ///< as the module names it
  std::string node;  ///< "/dev/sda"
  std::string model;
};

/// The disks that opening would wake. None where the system does not say.
std::vector<SuspendedDisk> suspendedDisks();

}  // namespace ostria::host
