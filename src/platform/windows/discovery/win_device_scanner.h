#pragma once

#include "services/device_scanner.h"

namespace ostria::storage {

/// Enumerates with the system's device set-up services. Disks have the system's disk number. For
/// any other filter `listPaths` numbers the devices from `FirstPortNumber`, one path each; the
/// operations that take a filter and a number also know a disk's number, which stands for the
/// device of that filter above the disk.
class WinDeviceScanner final : public DeviceScanner {
 public:
  /// No disk has a number as high.
  static constexpr std::uint32_t kFirstPortNumber = 0x80000000;

  int listPaths(const DeviceScanFilter& filter, DevicePathMap& out) override;
  int deviceProperty(std::uint32_t number, std::uint32_t property, std::string* text) override;
  int devicePath(const DeviceScanFilter& filter, std::uint32_t number, std::string* path) override;
  int deviceProperty(const DeviceScanFilter& filter, std::uint32_t number, std::uint32_t property,
                     std::string* text) override;
  int open(const std::string& path, DeviceHandle* handle) override;
  int lock(DeviceHandle handle) override;
  int close(DeviceHandle handle) override;
  int listDevices(const DeviceScanFilter& filter, const std::vector<std::uint32_t>& properties,
                  std::vector<ListedDevice>& devices) override;
};

}  // namespace ostria::storage
