#pragma once

#include <functional>
#include <optional>

#include "inventory/device_descriptor.h"
#include "inventory/storage_scanner.h"

namespace ostria::storage {

/// The scanner over the system's storage queries.
class WinStorageScanner final : public StorageScanner {
 public:
  int listDevices(DevicePathMap& out) override;
  int getConnection(std::uint32_t number, DeviceConnection* connection) override;
  int readPartitionTable(std::uint32_t number, PartitionTable* table,
                         std::uint64_t sizeInBytes) override;
  int getDeviceId(std::uint32_t number, std::string* id) override;
  int isRemovableMedia(std::uint32_t number, bool* removable) override;
  int getBusKind(std::uint32_t number, StorageBusKind* busKind, bool* optaneVolume) override;
  int dismountVolume(const std::string& name, DeviceHandle* handle) override;
  int releaseVolume(std::string& name, std::vector<std::string>& list, DeviceHandle handle,
                    std::string& text) override;
  int getMiniportPath(std::uint32_t number, std::string* path) override;
  int getPciLocation(std::uint32_t number, std::array<std::uint8_t, 3>* location) override;

 private:
  /// Opens the paths of a device one after the other until `ask` is content with one. A number that
  /// was not listed has no paths.
  bool askPaths(std::uint32_t number, const std::function<bool(DeviceHandle)>& ask);
  std::optional<DeviceDescriptor> readDescriptor(std::uint32_t number);
  /// Asked only where the bus leaves it open.
  std::optional<bool> removableCard(std::uint32_t number, DescriptorBus bus);
  StorageBusKind askBehindRaid(std::uint32_t number, const DeviceDescriptor& descriptor);
};

}  // namespace ostria::storage
