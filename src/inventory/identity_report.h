// Who answers at a device now, asked anew: a host compares it with the list before anything is
// written.
#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Builds rows {"description","data"}: "Model" and "Serial" as the property list has them, for each
/// protocol that reaches the device. False when none of them answers.
bool makeIdentityReport(StorageComponent& component, std::string& text);

}  // namespace ostria::storage
