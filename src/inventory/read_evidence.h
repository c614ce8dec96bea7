#pragma once

#include "transport/storage_protocol.h"

namespace ostria::storage {

/// Whether what failed the last `Read` of the protocol was a hardware error of the device, which
/// says nothing of the sector, though the result is `MediumError`.
bool lastReadMetHardwareError(const StorageProtocol& protocol);

}  // namespace ostria::storage
