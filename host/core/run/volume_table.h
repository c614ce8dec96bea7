// The volumes of a drive, as the check of file systems takes them.
#pragma once

#include <string>
#include <vector>

#include "host/core/run/run_services.h"
#include "ostria/storage/system_component.h"

namespace ostria::host {

/// Four values for each volume: its title, file system and mount point, and "T" for one that holds
/// the running system, which cannot be checked while that runs, or "F". One that is not mounted has
/// its node in place of the mount point.
/// @param node  of the drive, for the volumes that are not mounted; empty leaves them out
std::vector<std::string> volumeTable(storage::SystemComponent& component, const std::string& node);

/// "/mnt/a: bash (1234)" for each mounted volume that a program uses; empty when none does.
std::string volumeUsersOf(storage::SystemComponent& component, const RunServices& services);

}  // namespace ostria::host
