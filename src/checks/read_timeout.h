#pragma once

#include <cstdint>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Seconds that one transfer of a device may take: 10, or 30 when it may have to spin up first.
/// Asks a rotating ATA disk for its power mode and spins it up when it stands by; no other device
/// gets a command.
/// @param component  has a protocol
std::uint32_t chooseReadTimeout(StorageComponent& component);

}  // namespace ostria::storage
