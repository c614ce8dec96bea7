#pragma once

#include "platform/linux/discovery/sysfs_tree.h"
#include "transport/emmc/emmc_utils.h"

namespace ostria::storage {

/// What the kernel's block layer and its card driver show.
class LinuxEmmcUtils final : public EmmcUtils {
 public:
  explicit LinuxEmmcUtils(DeviceHandle handle, SysfsTree tree = SysfsTree())
      : handle_(handle), tree_(std::move(tree)) {}

  std::uint32_t Open(const std::string& path) override;
  std::uint32_t Close() override;
  /// The kernel has no geometry of its own for flash: one sector a track, one track a cylinder.
  std::uint32_t GetGeometry(EmmcGeometry* out) override;
  std::uint32_t GetIdentity(EmmcIdentity* out) override;
  std::uint32_t ListVolumes(std::vector<EmmcVolume>* out) override;
  std::string TemporaryDirectory(const std::string& rootPath) const override;

 private:
  std::optional<SysfsDisk> disk() const;

  DeviceHandle handle_;
  SysfsTree tree_;
};

}  // namespace ostria::storage
