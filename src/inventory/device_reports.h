#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// The SMART report of a device as JSON-shaped text. @return false when it cannot be made; `text`
/// is then as it was
bool makeSmartReport(StorageComponent& component, std::string& text);

/// The vendor log page report as JSON-shaped text. @return false when it cannot be made; `text` is
/// then as it was
bool makeVendorLogReport(StorageComponent& component, std::string& text);

}  // namespace ostria::storage
