#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/device_handle.h"
#include "base/kinds.h"
#include "inventory/partitions/partition_table.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// Answers questions about the disks of the machine before any protocol exists. Numeric results are
/// 0 on success; `number` is a device number of the last `listDevices`. Every handle that an
/// operation opens is closed inside it, except in `dismountVolume`. One thread at a time.
class StorageScanner {
 public:
  static constexpr int kNotMountedAgain = -1;
  static constexpr int kReadsDoNotEnd = -2;

  StorageScanner();
  virtual ~StorageScanner();
  StorageScanner(const StorageScanner&) = delete;
  StorageScanner& operator=(const StorageScanner&) = delete;

  virtual DeviceScanner* deviceScanner() { return deviceScanner_; }
  /// Enumerates the disks; the map is also kept for the other operations.
  virtual int listDevices(DevicePathMap& out) = 0;
  virtual int getConnection(std::uint32_t number, DeviceConnection* connection) = 0;
  /// @param sizeInBytes  size of the disk, for the unallocated bytes
  /// @return `kReadsDoNotEnd` when the disk did not end a read within 30 seconds; the table then
  ///         has what was known by then, perhaps nothing
  virtual int readPartitionTable(std::uint32_t number, PartitionTable* table,
                                 std::uint64_t sizeInBytes) = 0;
  /// The system's number of the device, in decimal.
  virtual int getDeviceId(std::uint32_t number, std::string* id) = 0;
  virtual int isRemovableMedia(std::uint32_t number, bool* removable) = 0;
  /// @param busKind       `Unknown` until set, also on failure
  /// @param optaneVolume  set to true for a vendor RAID volume of that family, else untouched
  virtual int getBusKind(std::uint32_t number, StorageBusKind* busKind, bool* optaneVolume) = 0;
  /// A device by its number and by what the system knows to tell it from others. Where two have one
  /// identity, or none is known of them, they may turn out to have the same identifier.
  struct Position {
    std::uint32_t number = 0;
    std::string identity;  ///< empty: of a device that will not be listed
  };
  /// The devices of the last `listDevices` in the order of the list: by connection, then by number.
  /// @return false where that takes opening them
  virtual bool listOrder(std::vector<Position>& /*order*/) { return false; }
  virtual int scannerNoOp8() { return 1; }
  /// Takes a volume off line: locks and dismounts it.
  /// @return `kNotMountedAgain` when it failed half way and the volume did not come back
  /// @param name    root path of the volume, "C:\"
  /// @param handle  the open, locked volume; the caller's, given back through `releaseVolume`
  virtual int dismountVolume(const std::string& name, DeviceHandle* handle) = 0;
  /// Empties its arguments and returns 1.
  virtual int unmountVolume(std::string& name, std::vector<std::string>& list) {
    name.clear();
    list.clear();
    return 1;
  }
  /// Puts a volume back that `dismountVolume` took; empties the other arguments.
  virtual int releaseVolume(std::string& name, std::vector<std::string>& list, DeviceHandle handle,
                            std::string& text) = 0;
  /// Why `releaseVolume` failed, for a person; empty when the system has no words for it.
  virtual std::string reasonOf(int /*error*/) { return {}; }
  /// Path of the controller port under which the device hangs.
  virtual int getMiniportPath(std::uint32_t number, std::string* path) = 0;
  /// PCI bus, device and function of that port.
  virtual int getPciLocation(std::uint32_t number, std::array<std::uint8_t, 3>* location) = 0;

 protected:
  DeviceScanner* deviceScanner_;  ///< from the services, given back by the destructor
  DevicePathMap devicePaths_;
};

/// A new scanner of the platform, never null, without devices until `listDevices`. Defined by each
/// platform.
std::unique_ptr<StorageScanner> makeStorageScanner();

}  // namespace ostria::storage
