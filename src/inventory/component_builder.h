#pragma once

#include <memory>

#include "inventory/device_record.h"
#include "inventory/driver_version.h"
#include "inventory/storage_component.h"
#include "inventory/storage_scanner.h"

namespace ostria::storage {

/// Makes the component of an opened device: partition table, identity, properties and sections.
/// @param drivers  of this scan; null: without the details of a `ScanDemand`
/// @return null when the device has no identity or its properties cannot be read; both protocols
/// are
///         then gone. The handle stays the caller's in any case.
std::unique_ptr<StorageComponent> buildComponent(StorageScanner& scanner,
                                                 const DeviceRecord& record,
                                                 std::unique_ptr<StorageProtocol> protocol,
                                                 std::unique_ptr<StorageProtocol> secondaryProtocol,
                                                 DriverVersions* drivers);

}  // namespace ostria::storage
