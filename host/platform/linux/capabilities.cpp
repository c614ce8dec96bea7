// Capabilities by capget(2), capset(2) and prctl(2).
#include "host/platform/linux/capabilities.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace ostria::host {
namespace {

using Sets = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

__user_cap_header_struct ownHeader() { return {_LINUX_CAPABILITY_VERSION_3, 0}; }

bool readSets(Sets& sets) {
  __user_cap_header_struct header = ownHeader();
  return syscall(SYS_capget, &header, sets.data()) == 0;
}

}  // namespace

std::uint64_t effectiveCapabilities() {
  Sets sets = {};
  return readSets(sets) ? sets[0].effective | std::uint64_t{sets[1].effective} << 32 : 0;
}

void keepCapabilities(std::uint64_t kept) {
  Sets sets = {};
  if (!readSets(sets)) {
    return;
  }
  // The bounding set first: taking from it is a right of its own. What fails here is only one
  // barrier less, and the sets below are lowered in any case.
  for (int capability = 0; prctl(PR_CAPBSET_READ, capability) >= 0; ++capability) {
    if ((kept >> capability & 1) == 0) {
      (void)prctl(PR_CAPBSET_DROP, capability);
    }
  }
  for (std::size_t i = 0; i < sets.size(); ++i) {
    const auto part = static_cast<std::uint32_t>(kept >> (32 * i));
    sets[i].effective &= part;
    sets[i].permitted &= part;
    sets[i].inheritable = 0;
  }
  __user_cap_header_struct header = ownHeader();
  (void)syscall(SYS_capset, &header, sets.data());
}

}  // namespace ostria::host
