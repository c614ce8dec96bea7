// A fault in the reader of some device's answer is to be worth little: SCSI commands want
// CAP_SYS_RAWIO, those of NVMe CAP_SYS_ADMIN, and nothing else is needed to ask a drive.
#include "host/platform/rights.h"

#include <linux/capability.h>

#include <fstream>
#include <string>

#include "host/platform/linux/capabilities.h"

namespace ostria::host {
namespace {

// The way to the drives behind its controllers is a node that nobody may have made.
bool isMegaraidDriverLoaded() {
  std::ifstream devices("/proc/devices");
  for (std::string word; devices >> word;) {
    if (word == "megaraid_sas_ioctl") {
      return true;
    }
  }
  return false;
}

}  // namespace

void keepRightsFor(const Undertaking& run) {
  // Mounting again, as it was, wants the rights of whoever mounted, and a checker is root's.
  if (run.volumes) {
    return;
  }
  std::uint64_t kept = std::uint64_t{1} << CAP_SYS_ADMIN | std::uint64_t{1} << CAP_SYS_RAWIO;
  if (run.files) {
    kept |= std::uint64_t{1} << CAP_DAC_OVERRIDE;
  }
  if (isMegaraidDriverLoaded()) {
    kept |= std::uint64_t{1} << CAP_MKNOD;
  }
  keepCapabilities(kept);
}

}  // namespace ostria::host
