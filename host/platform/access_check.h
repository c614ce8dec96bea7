// Whether this user may open the disks of the computer.
#pragma once

#include <cstddef>

namespace ostria::host {

/// How many disks are there that this user may not open; 0 when nothing is missing.
std::size_t closedDisks();

}  // namespace ostria::host
