#pragma once

#include <cstdint>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Sectors of one read of a scan: the device's preferred block, or 127 (the whole of a smaller
/// disk) when its first sectors refuse every block of the probe.
/// @param component  has a protocol, whose cached size is not 0
/// @return 0 when no block could be read because the device does not answer at all
std::uint16_t chooseReadBlock(StorageComponent& component);

}  // namespace ostria::storage
