#include "platform/linux/linux_checkers.h"

#include <algorithm>

namespace ostria::storage {
namespace {

const std::vector<LinuxChecker>& checkers() {
  static const std::vector<LinuxChecker> rows = {
      {{"ext2", "ext3", "ext4"},
       "e2fsck",
       {"-p", "-f", "-C", "3"},
       true,
       {1, 2, 3},
       "tune2fs",
       {"-E", "force_fsck"}},
      {{"vfat"}, "fsck.fat", {"-a"}, false, {1}, "", {}},
      {{"exfat"}, "fsck.exfat", {"-p"}, false, {1}, "", {}},
      {{"f2fs"}, "fsck.f2fs", {"-a"}, false, {1}, "", {}},
      {{"xfs"}, "xfs_repair", {"-e"}, false, {4}, "", {}},
      {{"btrfs"}, "btrfs", {"check", "--readonly"}, false, {}, "", {}},
  };
  return rows;
}

}  // namespace

const LinuxChecker* findLinuxChecker(const std::string& fileSystem) {
  for (const LinuxChecker& row : checkers())
    if (std::find(row.fileSystems.begin(), row.fileSystems.end(), fileSystem) !=
        row.fileSystems.end())
      return &row;
  return nullptr;
}

ToolStatus checkerStatus(const LinuxChecker& checker, int exitCode) {
  if (exitCode == 0) return ToolStatus::Finished;
  const auto& repaired = checker.repairedCodes;
  return std::find(repaired.begin(), repaired.end(), exitCode) != repaired.end()
             ? ToolStatus::Repaired
             : ToolStatus::CouldNotRun;
}

}  // namespace ostria::storage
