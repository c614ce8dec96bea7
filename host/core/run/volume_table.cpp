// The module lists partitions as sections of properties; those without a mount point have no file
// system that could be checked.
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

}  // namespace

std::vector<std::string> volumeTable(storage::SystemComponent& component) {
  std::vector<std::string> table;
  for (const storage::PropertySection& section : component.sections()) {
    std::string mountPoint;
    std::string label;
    std::string fileSystem;
    for (const storage::PropertyEntry& entry : section.entries) {
      if (entry.key == "MOUNT_POINT") {
        mountPoint = entry.value;
      }
      if (entry.key == "LABEL") {
        label = entry.value;
      }
      if (entry.key == "FILE_SYSTEM") {
        fileSystem = entry.value;
      }
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
  const std::vector<std::string> table = volumeTable(component);
  for (std::size_t i = 0; i + 3 < table.size(); i += 4) {
    const std::vector<std::string> programs = services.volumeUsers(table[i + 2]);
    for (std::size_t p = 0; p < programs.size(); ++p) {
      out += (p > 0 ? ", " : (out.empty() ? "" : "; ") + table[i + 2] + ": ") + programs[p];
    }
  }
  return services.redactor.text(out);
}

}  // namespace ostria::host
