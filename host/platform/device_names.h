// What the operating system calls a drive.
#pragma once

#include <string>

#include "host/core/model/device_names.h"

namespace ostria::host {

/// @param id  the module's name of the device
DeviceNames deviceNames(const std::string& id);

/// What a path of the user leads to; the path itself when that cannot be said.
std::string resolvedDevicePath(const std::string& path);

/// The module's name of the disk whose node a path leads to; empty when that cannot be said.
std::string deviceIdAt(const std::string& path);

}  // namespace ostria::host
