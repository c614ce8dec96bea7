#pragma once

#include <string>

#include "base/protocol_result.h"
#include "inventory/driver_version.h"
#include "inventory/storage_component.h"

namespace ostria::storage {

/// Fills names, properties and attributes of a component from what a device says.
/// @param source      the protocol to ask; null takes the component's own
/// @param parentName  name of the RAID controller above the device; empty for a direct device
/// @param drivers     versions of the disk drivers; null leaves the driver out
/// @return the result of `GetProperties`; on a failure nothing is changed
ProtocolResult fillProperties(StorageComponent& component, StorageProtocol* source,
                              const std::string& parentName, DriverVersions* drivers);

/// Adds one section for each partition of the component's table.
void fillPartitionSections(StorageComponent& component);

}  // namespace ostria::storage
