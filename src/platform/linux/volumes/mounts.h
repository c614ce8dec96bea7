#pragma once

#include <cstdint>
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

/// A file system that was taken out of the tree, and how it was mounted.
using TakenMounts = std::vector<MountEntry>;

/// Unmounts the file system that is mounted at `target`, at all its mount points, or nothing of it.
/// The file system of the running system is refused.
/// @param taken  replaced by what has to be mounted again, in order
/// @return 0, or an errno: ENOENT when nothing is mounted there, EBUSY when it is in use
int unmountFilesystem(const std::string& target, TakenMounts& taken);

/// Mounts again. @return 0, or the errno of the first failure; the others are tried all the same
int mountAgain(const TakenMounts& taken);

}  // namespace ostria::storage
