#pragma once

#include <string>

#include "host/core/model/device_names.h"

namespace ostria::host {

/// @param root  stands before /sys and /dev
DeviceNames deviceNames(const std::string& id, const std::string& root);

}  // namespace ostria::host
