// The check of rights over given folders, so that a test can make its own.
#pragma once

#include <cstdint>
#include <string>

#include "host/platform/access_check.h"

namespace ostria::host {

/// @param blockFolder   the kernel's list of block devices, /sys/block
/// @param deviceFolder  where their nodes lie, /dev
/// @param capabilities  the effective set, a bit for each
std::vector<MissingRight> missingRights(const std::string& blockFolder,
                                        const std::string& deviceFolder,
                                        std::uint64_t capabilities);

}  // namespace ostria::host
