#pragma once

#include <optional>
#include <string>

#include "platform/linux/volumes/mounts.h"

namespace ostria::storage {

/// A volume to be checked: the device or image that holds it, and where it is mounted.
struct LinuxVolume {
  std::string device;
  std::string fileSystem;  ///< as libblkid names it; empty when it is not known
  std::string mountPoint;  ///< the last of its mount points; empty when it is not mounted

  /// @param path  a mount point, a block device, or an image in a file
  static std::optional<LinuxVolume> find(const std::string& path);
};

/// Takes a mounted volume off line at all its mount points; gives it back, with its options, at its
/// end.
class LinuxVolumeOffline {
 public:
  explicit LinuxVolumeOffline(const LinuxVolume& volume) : volume_(volume) {}
  ~LinuxVolumeOffline() { giveBack(); }
  LinuxVolumeOffline(const LinuxVolumeOffline&) = delete;
  LinuxVolumeOffline& operator=(const LinuxVolumeOffline&) = delete;

  /// @return 0; an errno for a volume in use, and for that of the running system;
  ///         `StorageScanner::kNotMountedAgain`
  [[nodiscard]] int take();
  /// @return 0, or the errno that kept the volume from being mounted again
  int giveBack();

 private:
  const LinuxVolume& volume_;
  TakenMounts taken_;
};

}  // namespace ostria::storage
