// Windows has no list of the users of a volume that a program could ask for without a driver; the
// module names the volumes that stayed.
#include "host/platform/volume_users.h"

namespace ostria::host {

std::vector<std::string> volumeUsers(const std::string& /*mountPoint*/) { return {}; }

}  // namespace ostria::host
