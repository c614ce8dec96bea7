#pragma once

#include <cstdint>

#include "base/device_handle.h"

namespace ostria::storage {

/// The namespace that an open device stands for, where the system has a node for each namespace and
/// reports how a command was completed. Each platform defines it once.
/// @return 0 on a system that does neither, and for any other device
std::uint32_t nvmeNamespaceOf(DeviceHandle handle);

}  // namespace ostria::storage
