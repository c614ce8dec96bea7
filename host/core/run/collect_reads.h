// What the reads of a test or tool say of a disk.
#pragma once

#include <optional>

#include "host/core/model/read_times.h"
#include "ostria/storage/system_component.h"

namespace ostria::host {

/// The reads of the latest test or tool on this device, also while it runs; to be called on its
/// thread. Nothing when the module does not give them or nothing was read.
std::optional<ReadTimes> readTimesOf(storage::SystemComponent& component);

}  // namespace ostria::host
