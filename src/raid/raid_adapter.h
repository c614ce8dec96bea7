#pragma once

#include <memory>
#include <string>

#include "services/device_scanner.h"

namespace ostria::storage {

/// Filter for the storage ports of the machine, under which RAID adapters are enumerated; null on a
/// platform where no RAID controller is reached this way. Defined by each platform.
std::unique_ptr<DeviceScanFilter> makeRaidPortFilter();

/// Version of the driver that serves an adapter; empty when there is none, and when it is the
/// operating system's own. Defined by each platform.
/// @param hardwareId  as the device scanner gives it, "PCI\VEN_xxxx&DEV_yyyy..."
std::string raidDriverVersion(const std::string& hardwareId);

/// Whether an adapter with this hardware identifier is of a family that may speak CSMI.
bool isAcceptedRaidAdapter(const std::string& hardwareId);

}  // namespace ostria::storage
