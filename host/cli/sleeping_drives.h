// Drives that sleep: what only looks at them leaves them asleep, what tests them wakes them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/core/run/selection.h"
#include "host/core/texts/texts.h"
#include "host/platform/suspended_disks.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Has the module leave all drives asleep that are. Before the scan.
void leaveDrivesAsleep();

/// Wakes those of the chosen drives that were left asleep, and names each in a notice. The others
/// sleep on.
/// @param scan  scans again: the module must look at them anew
/// Throws `Stop` when the list is another one after that: a number would mean another drive.
void wakeDrives(storage::SystemComponentManager& manager, const Selection& selection,
                const std::function<void()>& scan, const Texts& texts,
                std::vector<std::string>& notices);

/// Names those of the suspended disks that the module could not list since opening them would wake
/// them.
void noteUnlisted(storage::SystemComponentManager& manager,
                  const std::vector<SuspendedDisk>& suspended, const Texts& texts,
                  std::vector<std::string>& notices);

}  // namespace ostria::host
