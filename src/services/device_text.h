#pragma once

#include <string>

namespace ostria::storage {

/// A text field of a device as it is shown and compared: the printable characters of ASCII alone,
/// without blanks at both ends.
std::string cleanedDeviceText(const std::string& field);

}  // namespace ostria::storage
