#pragma once

#include "raid/raid_records.h"

namespace ostria::storage {

/// Asks a drive behind a controller who it is: manufacturer, model, serial number and size.
/// @return false when it does not answer; `drive` is then as it was
bool identifyDrive(StorageProtocol& protocol, RaidPhysicalDrive* drive);

}  // namespace ostria::storage
