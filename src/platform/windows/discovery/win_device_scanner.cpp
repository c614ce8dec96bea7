// Enumeration by SetupAPI, opening by path. Disks are numbered by the system; ports, which have no
// number of their own, by their index above a bound that no disk reaches.
#include "platform/windows/discovery/win_device_scanner.h"

#include <windows.h>
// These need windows.h first.
#include <cfgmgr32.h>
#include <winioctl.h>

#include <algorithm>
#include <map>

#include "platform/windows/discovery/win_interface_set.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "platform/windows/io/win_handle.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

constexpr GUID kDiskInterface = {
    0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr GUID kDiskDriveClass = {
    0x4D36E967, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kStoragePortInterface = {
    0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr GUID kScsiAdapterClass = {
    0x4D36E97B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

const WinDeviceScanFilter* own(const DeviceScanFilter& filter) {
  return dynamic_cast<const WinDeviceScanFilter*>(&filter);
}

/// A number needs no right to read or write the disk, so the disk is opened without any.
std::optional<std::uint32_t> diskNumber(const std::string& path) {
  const UniqueHandle disk(CreateFileW(toWide(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  if (!disk) {
    return std::nullopt;
  }
  const auto number = queryDeviceNumber(toDeviceHandle(disk.get()));
  if (!number) {
    return std::nullopt;
  }
  return number->deviceNumber;
}

FoundInterface* findDisk(WinInterfaceSet& disks, std::uint32_t number) {
  for (FoundInterface& disk : disks.interfaces()) {
    if (diskNumber(disk.path) == number) {
      return &disk;
    }
  }
  return nullptr;
}

/// The device above a disk: the nearest of its ancestors that is in the set.
FoundInterface* findAbove(WinInterfaceSet& set, std::uint32_t diskNumber) {
  constexpr int kMostLevels = 16;
  WinInterfaceSet disks(WinDeviceScanFilter::disks());
  const FoundInterface* disk = findDisk(disks, diskNumber);
  if (disk == nullptr) {
    return nullptr;
  }
  DEVINST node = disk->device.DevInst;
  for (int level = 0; level < kMostLevels; ++level) {
    DEVINST parent = 0;
    if (CM_Get_Parent(&parent, node, 0) != CR_SUCCESS) {
      return nullptr;
    }
    for (FoundInterface& device : set.interfaces()) {
      if (device.device.DevInst == parent) {
        return &device;
      }
    }
    node = parent;
  }
  return nullptr;
}

FoundInterface* findDevice(const WinDeviceScanFilter& filter, WinInterfaceSet& set,
                           std::uint32_t number) {
  if (filter.isDisks()) {
    return findDisk(set, number);
  }
  if (number < WinDeviceScanner::kFirstPortNumber) {
    return findAbove(set, number);
  }
  const std::size_t index = number - WinDeviceScanner::kFirstPortNumber;
  return index < set.interfaces().size() ? &set.interfaces()[index] : nullptr;
}

}  // namespace

WinDeviceScanFilter WinDeviceScanFilter::disks() { return {kDiskInterface, kDiskDriveClass}; }

WinDeviceScanFilter WinDeviceScanFilter::storagePorts() {
  return {kStoragePortInterface, kScsiAdapterClass};
}

bool WinDeviceScanFilter::isDisks() const {
  return IsEqualGUID(interfaceClass_, kDiskInterface) != 0;
}

int WinDeviceScanner::listPaths(const DeviceScanFilter& filter, DevicePathMap& out) {
  std::vector<ListedDevice> devices;
  const int result = listDevices(filter, {}, devices);
  out.clear();
  for (ListedDevice& device : devices) {
    out[device.number] = std::move(device.paths);
  }
  return result;
}

int WinDeviceScanner::listDevices(const DeviceScanFilter& filter,
                                  const std::vector<std::uint32_t>& properties,
                                  std::vector<ListedDevice>& devices) {
  devices.clear();
  const WinDeviceScanFilter* wanted = own(filter);
  if (wanted == nullptr) {
    return 1;
  }
  WinInterfaceSet set(*wanted);
  if (!set.valid()) {
    return 1;
  }
  std::map<std::uint32_t, ListedDevice> found;
  std::uint32_t nextPort = kFirstPortNumber;
  for (FoundInterface& device : set.interfaces()) {
    const auto number =
        wanted->isDisks() ? diskNumber(device.path) : std::optional<std::uint32_t>(nextPort++);
    if (!number) {
      continue;
    }
    ListedDevice& listed = found[*number];
    listed.number = *number;
    listed.paths.push_back(device.path);
    for (const std::uint32_t property : properties) {
      if (auto value = set.property(device, property)) {
        listed.properties.try_emplace(property, std::move(*value));
      }
    }
  }
  for (auto& [number, device] : found) {
    devices.push_back(std::move(device));
  }
  return 0;
}

int WinDeviceScanner::deviceProperty(std::uint32_t number, std::uint32_t property,
                                     std::string* text) {
  return deviceProperty(WinDeviceScanFilter::disks(), number, property, text);
}

int WinDeviceScanner::devicePath(const DeviceScanFilter& filter, std::uint32_t number,
                                 std::string* path) {
  const WinDeviceScanFilter* wanted = own(filter);
  if (wanted == nullptr) {
    return 1;
  }
  WinInterfaceSet set(*wanted);
  const FoundInterface* device = findDevice(*wanted, set, number);
  if (device == nullptr) {
    return 1;
  }
  *path = device->path;
  return 0;
}

int WinDeviceScanner::deviceProperty(const DeviceScanFilter& filter, std::uint32_t number,
                                     std::uint32_t property, std::string* text) {
  const WinDeviceScanFilter* wanted = own(filter);
  if (wanted == nullptr) {
    return 1;
  }
  WinInterfaceSet set(*wanted);
  FoundInterface* device = findDevice(*wanted, set, number);
  if (device == nullptr) {
    return 1;
  }
  auto value = set.property(*device, property);
  if (!value) {
    return 1;
  }
  *text = std::move(*value);
  return 0;
}

int WinDeviceScanner::open(const std::string& path, DeviceHandle* handle) {
  // Overlapped, because a read must be able to run out of time.
  const HANDLE device = CreateFileW(toWide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr);
  if (device == INVALID_HANDLE_VALUE) {
    return std::max(1, static_cast<int>(GetLastError()));
  }
  *handle = toDeviceHandle(device);
  return 0;
}

int WinDeviceScanner::lock(DeviceHandle handle) {
  return deviceControl(handle, FSCTL_LOCK_VOLUME, nullptr, 0, nullptr, 0) ? 0 : 1;
}

int WinDeviceScanner::close(DeviceHandle handle) {
  return handle && CloseHandle(toNativeHandle(handle)) ? 0 : 1;
}

DeviceScanner* get_device_scanner() { return new WinDeviceScanner; }

void release_device_scanner(DeviceScanner* scanner) { delete scanner; }

}  // namespace ostria::storage
