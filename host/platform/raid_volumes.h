// What the system shows as disks and what are volumes of a RAID controller.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

/// Disks, as the system calls them, that are volumes of controllers whose drives the module reaches
/// through them; sorted.
std::vector<std::string> raidVolumes();

}  // namespace ostria::host
