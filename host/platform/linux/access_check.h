// The check of rights over given folders, so that a test can make its own.
#pragma once

#include <cstddef>
#include <string>

namespace ostria::host {

/// How many disks this user may not open for reading and writing.
/// @param blockFolder   the kernel's list of block devices, /sys/block
/// @param deviceFolder  where their nodes lie, /dev
std::size_t closedDisks(const std::string& blockFolder, const std::string& deviceFolder);

}  // namespace ostria::host
