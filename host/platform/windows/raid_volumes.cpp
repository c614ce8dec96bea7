// The system shows them like any disk, and the module leaves them out by what their bus is.
#include "host/platform/raid_volumes.h"

namespace ostria::host {

std::vector<std::string> raidVolumes() { return {}; }

}  // namespace ostria::host
