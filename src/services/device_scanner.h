#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage {

/// Which devices an enumeration is about. The platform's scanner knows its own filter classes.
class DeviceScanFilter {
 public:
  virtual ~DeviceScanFilter() = default;
};

/// Device number to the paths by which that device can be opened.
using DevicePathMap = std::map<std::uint32_t, std::vector<std::string>>;

/// Property code of a device's location text (SPDRP_LOCATION_INFORMATION).
inline constexpr std::uint32_t kLocationInformationProperty = 13;

/// Property code of what the system calls a device (SPDRP_FRIENDLYNAME).
inline constexpr std::uint32_t kFriendlyNameProperty = 12;

/// A device as one enumeration saw it.
struct ListedDevice {
  std::uint32_t number = 0;
  std::vector<std::string> paths;
  std::map<std::uint32_t, std::string>
      properties;  ///< by property code; absent where there is none
};

/// The platform's enumeration of devices, and the opening and closing of them. An `int` result is 0
/// on success.
class DeviceScanner {
 public:
  virtual ~DeviceScanner() = default;

  /// Replaces `out` by the devices that pass the filter.
  virtual int listPaths(const DeviceScanFilter& filter, DevicePathMap& out) = 0;
  /// A device property as text, of the disk with this number.
  virtual int deviceProperty(std::uint32_t number, std::uint32_t property, std::string* text) = 0;
  /// Path of the device with this number.
  virtual int devicePath(const DeviceScanFilter& filter, std::uint32_t number,
                         std::string* path) = 0;
  /// A device property as text, of the device that the filter finds under this number.
  virtual int deviceProperty(const DeviceScanFilter& filter, std::uint32_t number,
                             std::uint32_t property, std::string* text) = 0;
  /// Opens a path for reading and writing, shared.
  virtual int open(const std::string& path, DeviceHandle* handle) = 0;
  /// Locks an open volume for exclusive use.
  virtual int lock(DeviceHandle handle) = 0;
  virtual int close(DeviceHandle handle) = 0;
  /// The devices that pass the filter with those of their properties that are named, all from one
  /// look at the system: a device that comes or goes meanwhile cannot lend its properties to
  /// another.
  /// @param devices  replaced; in the order of their numbers
  virtual int listDevices(const DeviceScanFilter& filter,
                          const std::vector<std::uint32_t>& properties,
                          std::vector<ListedDevice>& devices) = 0;
};

}  // namespace ostria::storage
