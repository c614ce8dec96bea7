#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// A drive as the virtual PC can play it: an object of the "drives" list of a machine file, JSON in
/// several lines. The drive is asked anew for all that is known of it, which wakes a sleeping one.
/// @param masked  without serial numbers, world wide names and what is made of them
/// @return false when the drive gave nothing; `text` is then as it was
bool makeRecordingReport(StorageComponent& component, bool masked, std::string& text);

}  // namespace ostria::storage
