// Disks are there and their nodes are closed to this user: better said than an empty list.
#include "host/platform/linux/access_check.h"

#include <unistd.h>

#include <filesystem>
#include <string>

#include "host/platform/access_check.h"

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

std::size_t closedDisks(const std::string& blockFolder, const std::string& deviceFolder) {
  std::size_t closed = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(blockFolder, error)) {
    const std::string name = entry.path().filename().string();
    const std::string node = deviceFolder + "/" + name;
    if (isDisk(name) && std::filesystem::exists(node, error) &&
        access(node.c_str(), R_OK | W_OK) != 0) {
      ++closed;
    }
  }
  return closed;
}

std::size_t closedDisks() { return closedDisks("/sys/block", "/dev"); }

}  // namespace ostria::host
