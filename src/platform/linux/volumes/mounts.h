#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostria::storage {

/// One mounted file system.
struct MountEntry {
  std::uint32_t device = 0;  ///< dev_t as the mount table has it; of no disk for some file systems
  std::string root;          ///< part of the file system that is mounted; "/" for all of it
  std::string target;
  std::string source;  ///< node of the device
  std::string type;
  std::string options;       ///< of the mount and of the file system
  std::string plainOptions;  ///< of the mount alone
};

/// The mount table, in the order of mounting. @param path  the table, "/proc/self/mountinfo"
std::vector<MountEntry> readMounts(const std::string& path = "/proc/self/mountinfo");

/// Name of the file system on the mounted device ("ntfs"), which is not always that of its driver
/// ("fuseblk", "ntfs3"); the driver's name when the device has none.
std::string fileSystemOf(const MountEntry& mount);

/// The options with which the driver in user space was started that serves this mount; the kernel
/// does not show them. @param root  folder that stands for "/"
std::optional<std::string> fuseOptions(const MountEntry& mount, const std::string& root = "");

/// A mount that was taken out of the tree, and the directory beneath it.
struct TakenMount {
  MountEntry mount;
  std::uint64_t directoryDevice = 0;
  std::uint64_t directoryInode = 0;
};
using TakenMounts = std::vector<TakenMount>;

/// Unmounts the file system that is mounted at `target`, at all its mount points, or nothing of it.
/// The file system of the running system is refused.
/// @param taken  replaced by what has to be mounted again, in order
/// @return 0; an errno: ENOENT when nothing is mounted there, EBUSY when it is in use or could not
///         be mounted again as it is; `StorageScanner::kNotMountedAgain`
[[nodiscard]] int unmountFilesystem(const std::string& target, TakenMounts& taken);

/// Mounts again, with the same options and on the same directories: a path that leads through a
/// link by now, or to another directory, is refused (ELOOP). What fails is tried again for some
/// seconds.
/// @return 0, or the errno of the first failure; the others are tried all the same
[[nodiscard]] int mountAgain(const TakenMounts& taken);

}  // namespace ostria::storage
