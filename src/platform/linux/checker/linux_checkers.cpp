// Programs, arguments and exit codes as their manual pages have them.
#include "platform/linux/checker/linux_checkers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "platform/linux/io/fd_handle.h"

namespace ostria::storage {
namespace {

const std::vector<LinuxChecker>& checkers() {
  static const std::vector<LinuxChecker> kRows = {
      // The error flag asks for a check, but the kernel forgets it when it unmounts a volume; the
      // count of mounts stays, and is above any limit.
      {{"ext2", "ext3", "ext4"},
       "e2fsck",
       {"-p", "-f", "-C", "3"},
       true,
       {1, 2, 3},
       "tune2fs",
       {"-E", "force_fsck", "-C", "16000"}},
      {{"vfat"}, "fsck.fat", {"-a"}, false, {1}, "", {}, false},
      {{"exfat"}, "fsck.exfat", {"-p"}, false, {1}, "", {}},
      {{"f2fs"}, "fsck.f2fs", {"-a"}, false, {1}, "", {}},
      {{"xfs"}, "xfs_repair", {"-e"}, false, {4}, "", {}},
      // What the program would mend it mends without asking whether Windows sleeps on the volume.
      {{"ntfs"},
       "ntfsfix",
       {"-n"},
       false,
       {},
       "",
       {},
       true,
       "Only the boot sectors, the start of the file table and the journal were looked at.\n"},
      {{"btrfs"}, "btrfs", {"check", "--readonly"}, false, {}, "", {}},
  };
  return kRows;
}

/// Whether an ext2 to ext4 volume is checked after a number of mounts.
bool hasMountLimit(const std::string& device) {
  constexpr off_t kLimitOffset = 1024 + 54;  // s_max_mnt_count, signed, little-endian
  std::array<std::uint8_t, 2> field{};
  const FdOwner node(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
  if (!node.valid()) {
    return false;
  }
  const ssize_t count = ::pread(node.get(), field.data(), field.size(), kLimitOffset);
  return count == static_cast<ssize_t>(field.size()) &&
         static_cast<std::int16_t>(loadLe16(field.data())) > 0;
}

}  // namespace

const LinuxChecker* findLinuxChecker(const std::string& fileSystem) {
  for (const LinuxChecker& row : checkers()) {
    if (std::find(row.fileSystems.begin(), row.fileSystems.end(), fileSystem) !=
        row.fileSystems.end()) {
      return &row;
    }
  }
  return nullptr;
}

std::vector<std::string> schedulerCommand(const LinuxChecker& checker, const std::string& program,
                                          const std::string& device) {
  std::vector<std::string> command = {program};
  command.insert(command.end(), checker.schedulerArguments.begin(),
                 checker.schedulerArguments.end());
  if (!hasMountLimit(device)) {
    command.insert(command.end(), {"-c", "5000"});
  }
  command.push_back(device);
  return command;
}

ToolStatus checkerStatus(const LinuxChecker& checker, int exitCode) {
  if (exitCode == 0) {
    return ToolStatus::Finished;
  }
  const auto& repaired = checker.repairedCodes;
  return std::find(repaired.begin(), repaired.end(), exitCode) != repaired.end()
             ? ToolStatus::Repaired
             : ToolStatus::CouldNotRun;
}

}  // namespace ostria::storage
