// Runtime power management: the kernel stops a disk after a while without a request, if somebody
// has allowed it, and starts it for whoever opens its node. sysfs can be read all the same.
#include "host/platform/suspended_disks.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace ostria::host {
namespace {

std::string lineOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

std::vector<SuspendedDisk> suspendedDisks() {
  std::vector<SuspendedDisk> disks;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
    const std::filesystem::path& folder = entry.path();
    // A card is suspended a few seconds after each request, and opening it disturbs nobody.
    const bool card = folder.filename().native().starts_with("mmcblk");
    if (card || lineOf(folder / "device/power/runtime_status") != "suspended") {
      continue;
    }
    const std::string number = lineOf(folder / "dev");
    const std::size_t colon = number.find(':');
    if (colon == std::string::npos) {
      continue;
    }
    const auto major = static_cast<std::uint32_t>(std::atoi(number.c_str()));
    const auto minor = static_cast<std::uint32_t>(std::atoi(number.c_str() + colon + 1));
    // The kernel's 32-bit form.
    const std::uint32_t id = (minor & 0xFFu) | major << 8 | (minor & ~0xFFu) << 12;
    disks.push_back({std::to_string(id), "/dev/" + folder.filename().string(),
                     lineOf(folder / "device/model")});
  }
  std::sort(disks.begin(), disks.end(),
            [](const SuspendedDisk& a, const SuspendedDisk& b) { return a.node < b.node; });
  return disks;
}

}  // namespace ostria::host
