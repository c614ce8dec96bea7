#pragma once

#include <map>
#include <optional>
#include <vector>

#include "inventory/partitions/partition_layout.h"
#include "inventory/storage_scanner.h"
#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/volumes/mounts.h"

namespace ostria::storage {

/// Device numbers are the kernel's 32-bit dev_t of the whole disk. Volumes are known by their
/// mount points, those on mapped devices and RAID above a partition included.
class LinuxStorageScanner final : public StorageScanner {
 public:
  explicit LinuxStorageScanner(SysfsTree tree = SysfsTree()) : tree_(std::move(tree)) {}

  int listDevices(DevicePathMap& out) override;
  bool listOrder(std::vector<Position>& order) override;
  int getConnection(std::uint32_t number, DeviceConnection* connection) override;
  /// A file system on the whole disk counts as a partition of number 0.
  int readPartitionTable(std::uint32_t number, PartitionTable* table,
                         std::uint64_t sizeInBytes) override;
  int getDeviceId(std::uint32_t number, std::string* id) override;
  int isRemovableMedia(std::uint32_t number, bool* removable) override;
  int getBusKind(std::uint32_t number, StorageBusKind* busKind, bool* optaneVolume) override;
  /// Unmounts the file system at all its mount points and claims its device. What is in use, the
  /// running system above all, stays as it is and gives EBUSY.
  int dismountVolume(const std::string& name, DeviceHandle* handle) override;
  int releaseVolume(std::string& name, std::vector<std::string>& list, DeviceHandle handle,
                    std::string& text) override;
  std::string reasonOf(int error) override;
  int getMiniportPath(std::uint32_t number, std::string* path) override;
  int getPciLocation(std::uint32_t number, std::array<std::uint8_t, 3>* location) override;

 private:
  /// The record of a disk from the last `listDevices`; null for a disk that is not there.
  const SysfsDisk* find(std::uint32_t number);
  /// @param wholeDisk  the file system of a disk without a partition table
  /// @param readsHang  in: no partition is read; out: also set when a read of one does not end
  void joinVolumes(const SysfsDisk& disk, const std::optional<VolumeFacts::Identity>& wholeDisk,
                   PartitionTable& table, bool& readsHang);

  SysfsTree tree_;
  // Read once for a scan.
  std::map<std::uint32_t, SysfsDisk> disks_;
  std::optional<std::vector<MountEntry>> mounts_;
  std::map<std::uint64_t, TakenMounts> offline_;  ///< by handle
};

}  // namespace ostria::storage
