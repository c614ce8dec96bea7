// Holds the device scanner for the life of a storage scanner.
#include "inventory/storage_scanner.h"

#include "services/sal.h"

namespace ostria::storage {

StorageScanner::StorageScanner() : deviceScanner_(get_device_scanner()) {}

StorageScanner::~StorageScanner() { release_device_scanner(deviceScanner_); }

}  // namespace ostria::storage
