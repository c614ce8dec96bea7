#pragma once

#include <optional>
#include <string>

namespace ostria::storage {

/// A volume to be checked: the device or image that holds it, and where it is mounted.
struct LinuxVolume {
  std::string device;
  std::string fileSystem;    ///< as libblkid names it; empty when it is not known
  std::string mountPoint;    ///< empty when it is not mounted
  std::string options;       ///< of the mount, those of the file system included
  std::string plainOptions;  ///< of the mount alone
  bool mountedTwice = false;

  /// @param path  a mount point, a block device, or an image in a file
  static std::optional<LinuxVolume> find(const std::string& path);
};

/// Takes a mounted volume off line; gives it back, with its options, at its end.
class LinuxVolumeOffline {
 public:
  explicit LinuxVolumeOffline(const LinuxVolume& volume) : volume_(volume) {}
  ~LinuxVolumeOffline() { giveBack(); }
  LinuxVolumeOffline(const LinuxVolumeOffline&) = delete;
  LinuxVolumeOffline& operator=(const LinuxVolumeOffline&) = delete;

  /// @return false for a volume in use
  bool take();
  /// @return false when the volume could not be mounted again
  bool giveBack();

 private:
  bool mount(const std::string& options) const;

  const LinuxVolume& volume_;
  bool taken_ = false;
};

}  // namespace ostria::storage
