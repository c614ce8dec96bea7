// Whether a drive sleeps, and how it is woken.
#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Builds the row {"description","data"} "Power Mode": "standby" or "awake", by a command that
/// wakes no drive. False where it cannot be had: only ATA drives are asked.
bool makePowerReport(StorageComponent& component, std::string& text);

/// Reads a sector, which wakes the drive, and builds the same row after that.
bool makeWakeReport(StorageComponent& component, std::string& text);

}  // namespace ostria::storage
