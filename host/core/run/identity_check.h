// The last look before something is written to a drive.
#pragma once

#include "ostria/storage/system_component.h"

namespace ostria::host {

/// Whether the drive that the user agreed to still answers there: asks for model and serial number
/// anew. False also when nobody answers.
bool isStillThatDrive(storage::SystemComponent& component);

}  // namespace ostria::host
