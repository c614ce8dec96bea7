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

/// Whether a drive may be named by its place (a number of the list, a node, a port), where another
/// drive may be by the time that the name is used.
enum class NamesTaken { All, OwnOnly };

/// The drives that `wanted` names by number, node, link, serial number or WWN, in that order. A
/// name that two drives answer to is refused with the candidates: nothing may be done to a drive by
/// guess.
/// @param resolve  what a path leads to
/// @param taken    OwnOnly: a drive that has a serial number, a WWN or a link made of them is found
///                 by those alone, or by a link of the user's own
OrUsageError<std::vector<std::uint32_t>> resolveDevices(
    const std::vector<std::string>& wanted, const std::vector<DeviceKey>& devices,
    const std::function<std::string(const std::string&)>& resolve, NamesTaken taken);

}  // namespace ostria::host
