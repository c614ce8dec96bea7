#pragma once

#include "inventory/recording/drive_recorder.h"
#include "transport/storage_protocol_properties.h"

namespace ostria::storage {

/// Takes out of the recorded answers, and of what is known of the device, all that names this one
/// drive: serial numbers, world wide names, unique identifiers, bar-codes, and what of a page is
/// its maker's own. Lengths stay, and a checksum that held still holds.
void maskPages(DriveRecorder& recorded, StorageProtocolProperties& device);

}  // namespace ostria::storage
