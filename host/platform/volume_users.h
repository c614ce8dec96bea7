// Who keeps a volume from going off line.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

/// The programs that use a mounted volume, as "name (number)", at most ten; empty when there is
/// none or the system does not say.
std::vector<std::string> volumeUsers(const std::string& mountPoint);

}  // namespace ostria::host
