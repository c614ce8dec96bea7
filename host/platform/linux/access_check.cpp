// Disks are there and do not answer this user: better said than an empty list. A node that opens is
// not enough: NVMe pass-through wants CAP_SYS_ADMIN, and the kernel lets through only a list of
// SCSI commands without CAP_SYS_RAWIO.
#include "host/platform/linux/access_check.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "host/platform/linux/capabilities.h"

namespace ostria::host {
namespace {

// Disks that are made of memory, files or other disks.
bool isDisk(const std::string& name) {
  for (const char* other : {"loop", "ram", "zram", "dm-", "md", "sr", "fd", "nbd"}) {
    if (name.starts_with(other)) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::vector<MissingRight> missingRights(const std::string& blockFolder,
                                        const std::string& deviceFolder,
                                        std::uint64_t capabilities) {
  using Effect = MissingRight::Effect;
  MissingRight closed{Effect::Closed, "CAP_DAC_OVERRIDE", {}};
  MissingRight leftOut{Effect::LeftOut, "CAP_SYS_ADMIN", {}};
  MissingRight limited{Effect::Limited, "CAP_SYS_RAWIO", {}};
  const auto has = [capabilities](int capability) { return (capabilities >> capability & 1) != 0; };
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(blockFolder, error)) {
    const std::string name = entry.path().filename().string();
    const std::string node = deviceFolder + "/" + name;
    if (!isDisk(name) || !std::filesystem::exists(node, error)) {
      continue;
    }
    // By the rights in force, not by those of whoever started a program with more of them.
    if (faccessat(AT_FDCWD, node.c_str(), R_OK, AT_EACCESS) != 0) {
      closed.disks.push_back(name);
    } else if (name.starts_with("nvme") && !has(CAP_SYS_ADMIN)) {
      leftOut.disks.push_back(name);
    } else if (name.starts_with("sd") && !has(CAP_SYS_RAWIO)) {
      limited.disks.push_back(name);
    }
  }
  std::vector<MissingRight> missing;
  for (MissingRight* const right : {&closed, &leftOut, &limited}) {
    if (!right->disks.empty()) {
      std::sort(right->disks.begin(), right->disks.end());
      missing.push_back(std::move(*right));
    }
  }
  return missing;
}

std::vector<MissingRight> missingRights() {
  return missingRights("/sys/block", "/dev", effectiveCapabilities());
}

}  // namespace ostria::host
