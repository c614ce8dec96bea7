#pragma once

#include "platform/linux/discovery/sysfs_tree.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// Which devices an enumeration is about.
class LinuxDeviceScanFilter final : public DeviceScanFilter {
 public:
  enum class Kind {
    Disks,         ///< whole disks, with their nodes
    StoragePorts,  ///< the nodes that take commands for a disk's NVMe controller
  };

  explicit LinuxDeviceScanFilter(Kind kind) : kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// Device numbers are the kernel's 32-bit dev_t of the whole disk; results are errno values. The
/// location text reads "PCI bus B, device D, function F", with "domain N, " before the bus unless
/// the domain is 0.
class LinuxDeviceScanner final : public DeviceScanner {
 public:
  explicit LinuxDeviceScanner(SysfsTree tree = SysfsTree()) : tree_(std::move(tree)) {}

  int listPaths(const DeviceScanFilter& filter, DevicePathMap& out) override;
  int deviceProperty(std::uint32_t number, std::uint32_t property, std::string* text) override;
  int devicePath(const DeviceScanFilter& filter, std::uint32_t number, std::string* path) override;
  int deviceProperty(const DeviceScanFilter& filter, std::uint32_t number, std::uint32_t property,
                     std::string* text) override;
  /// For reading alone where that is enough for every command (CAP_SYS_RAWIO, CAP_SYS_ADMIN), and
  /// where writing is refused. EACCES (13) for lack of rights.
  int open(const std::string& path, DeviceHandle* handle) override;
  /// Claims the device, as mounting it would: EBUSY while it is mounted or in use by a mapped
  /// device or RAID. The claim lasts until the handle is closed.
  int lock(DeviceHandle handle) override;
  int close(DeviceHandle handle) override;
  int listDevices(const DeviceScanFilter& filter, const std::vector<std::uint32_t>& properties,
                  std::vector<ListedDevice>& devices) override;

 private:
  SysfsTree tree_;
};

}  // namespace ostria::storage
