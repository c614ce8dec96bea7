// From what a user calls a drive to its number in the list.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/core/model/device_names.h"
#include "host/core/user_error.h"

namespace ostria::host {

/// A drive by all that it can be named by.
struct DeviceKey {
  std::uint32_t index = 0;
  std::string model;
  std::string serial;
  DeviceNames names;
};

/// The drives that `wanted` names by number, node, link, serial number or WWN, in that order. A
/// name that two drives answer to is refused with the candidates: nothing may be done to a drive by
/// guess.
/// @param resolve  what a path leads to
OrUsageError<std::vector<std::uint32_t>> resolveDevices(
    const std::vector<std::string>& wanted, const std::vector<DeviceKey>& devices,
    const std::function<std::string(const std::string&)>& resolve);

}  // namespace ostria::host
