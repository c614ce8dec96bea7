// What is said about disks that this user cannot use.
#pragma once

#include <string>
#include <vector>

#include "host/core/texts/texts.h"
#include "host/platform/access_check.h"
#include "host/platform/suspended_disks.h"

namespace ostria::host {

/// One sentence for each right that is missing, with the disks that are missing for it.
std::vector<std::string> rightsNotices(const std::vector<MissingRight>& missing,
                                       const Texts& texts);

/// Disks, as the system calls them, that say nothing since they may not be asked, or since they
/// were left suspended.
std::vector<std::string> knownToBeSilent(const std::vector<MissingRight>& missing,
                                         const std::vector<SuspendedDisk>& suspended);

}  // namespace ostria::host
