#pragma once

#include <string>

namespace ostria::host {

/// Whether disks are there that this user may not open. An empty text when nothing is missing, else
/// one sentence that says what and how to get it.
/// @param blockFolder   the kernel's list of block devices, /sys/block
/// @param deviceFolder  where their nodes lie, /dev
std::string missingAccess(const std::string& blockFolder, const std::string& deviceFolder);

}  // namespace ostria::host
