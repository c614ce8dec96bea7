// The module lists partitions as sections of properties. One that is not mounted is checked by its
// node, which Linux alone has, if it holds a file system: what holds parts of a RAID or swap space
// looks alike otherwise.
#include "host/core/run/volume_table.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace ostria::host {
namespace {

bool holdsRunningSystem(const std::string& mountPoint) {
  static constexpr std::array<std::string_view, 6> kSystem = {"/",    "/boot", "/boot/efi",
                                                              "/usr", "/var",  "C:\\"};
  return std::find(kSystem.begin(), kSystem.end(), mountPoint) != kSystem.end();
}

bool isFileSystem(const std::string& name) {
  static constexpr std::array<std::string_view, 9> kKnown = {
      "ext2", "ext3", "ext4", "vfat", "exfat", "f2fs", "xfs", "ntfs", "btrfs"};
  return std::find(kKnown.begin(), kKnown.end(), name) != kKnown.end();
}

// "/dev/sda1", "/dev/nvme0n1p1"; a file system without a partition is number 0 and on the disk.
std::string partitionNode(const std::string& node, const std::string& number) {
  if (!node.starts_with("/dev/") || number.empty()) {
    return {};
  }
  const bool digit = node.back() >= '0' && node.back() <= '9';
  return number == "0" ? node : node + (digit ? "p" : "") + number;
}

}  // namespace

std::vector<std::string> volumeTable(storage::SystemComponent& component, const std::string& node) {
  std::vector<std::string> table;
  for (const storage::PropertySection& section : component.sections()) {
    std::string mountPoint;
    std::string label;
    std::string fileSystem;
    std::string number;
    for (const storage::PropertyEntry& entry : section.entries) {
      if (entry.key == "MOUNT_POINT") {
        mountPoint = entry.value;
      }
      if (entry.key == "INDEX") {
        number = entry.value;
      }
      if (entry.key == "LABEL") {
        label = entry.value;
      }
      if (entry.key == "FILE_SYSTEM") {
        fileSystem = entry.value;
      }
    }
    if (mountPoint.empty() && isFileSystem(fileSystem)) {
      mountPoint = partitionNode(node, number);
    }
    if (mountPoint.empty()) {
      continue;
    }
    std::string title = mountPoint;
    if (!label.empty()) {
      title.append(" (").append(label).append(")");
    }
    table.push_back(std::move(title));
    table.push_back(fileSystem);
    table.push_back(mountPoint);
    table.push_back(holdsRunningSystem(mountPoint) ? "T" : "F");
  }
  return table;
}

std::string volumeUsersOf(storage::SystemComponent& component, const RunServices& services) {
  if (!services.volumeUsers) {
    return {};
  }
  std::string out;
  const std::vector<std::string> table = volumeTable(component, {});
  for (std::size_t i = 0; i + 3 < table.size(); i += 4) {
    const std::vector<std::string> programs = services.volumeUsers(table[i + 2]);
    for (std::size_t p = 0; p < programs.size(); ++p) {
      out += (p > 0 ? ", " : (out.empty() ? "" : "; ") + table[i + 2] + ": ") + programs[p];
    }
  }
  return services.redactor.text(out);
}

}  // namespace ostria::host
