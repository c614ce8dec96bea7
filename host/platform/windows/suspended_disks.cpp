// Windows wakes a disk for whoever opens it, and does not say beforehand which one sleeps.
#include "host/platform/suspended_disks.h"

namespace ostria::host {

std::vector<SuspendedDisk> suspendedDisks() { return {}; }

}  // namespace ostria::host
