#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/kinds.h"

namespace ostria::storage {

/// Address of a PCI function.
struct PciAddress {
  std::uint32_t domain = 0;
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::uint32_t function = 0;
};

/// A whole disk as the kernel shows it, read once.
struct SysfsDisk {
  std::uint32_t number = 0;  ///< the kernel's 32-bit dev_t
  std::string name;          ///< "sda", "nvme0n1"
  std::string node;          ///< "/dev/sda"
  std::string path;          ///< folder of the disk below /sys/devices, links resolved
  bool removable = false;
  StorageBusKind busKind = StorageBusKind::Unknown;
  DeviceConnection connection = DeviceConnection::Other;
  std::optional<PciAddress> pci;  ///< the PCI function that the disk hangs on
};

/// A partition of a disk.
struct SysfsPartition {
  std::uint32_t number = 0;  ///< dev_t
  std::uint32_t index = 0;   ///< number of the partition in its table
  std::string node;
  std::string path;
};

/// What /sys tells of disks. Every call reads afresh, and only what it is about: a record holds all
/// that is asked of a disk again and again. A vanished disk gives empty answers.
class SysfsTree {
 public:
  /// @param root  folder that stands for "/", for a saved tree
  explicit SysfsTree(std::string root = "");
  bool isOfSystem() const { return root_.empty(); }

  /// The disks that may be tested: no loop, memory, mapped or optical devices, none of size 0, none
  /// of the hardware areas that stand beside an eMMC device, no hidden path of a multipath drive.
  std::vector<SysfsDisk> disks() const;
  std::optional<SysfsDisk> disk(std::uint32_t number) const;
  /// What tells two drives from each other: the serial number that the kernel has read; without one
  /// the model, which others may share.
  std::string identity(const SysfsDisk& disk) const;
  std::vector<SysfsPartition> partitions(const SysfsDisk& disk) const;
  /// dev_t of a device and of all that is built upon it (mapped devices, RAID), itself first.
  std::vector<std::uint32_t> withHolders(const std::string& devicePath) const;
  /// Those of them that lie on this device alone, and on no other beside it.
  std::vector<std::uint32_t> withSoleHolders(const std::string& devicePath) const;
  /// The nodes of the same devices, by which the mount table names them: "/dev/sda2", "/dev/md0",
  /// "/dev/dm-0" and "/dev/mapper/luks".
  std::vector<std::string> nodesWithHolders(const std::string& devicePath, bool soleHolders) const;

  /// First line of a file below a folder of /sys, without trailing blanks; empty when there is
  /// none.
  std::string attribute(const std::string& folder, const std::string& name) const;

 private:
  /// All of a file below a folder of /sys; empty when there is none.
  static std::string content(const std::string& folder, const std::string& name);
  /// Folder and dev_t of each device.
  std::vector<std::pair<std::string, std::uint32_t>> climb(const std::string& devicePath,
                                                           bool soleHolders) const;
  std::vector<std::uint32_t> numbersOf(const std::string& devicePath, bool soleHolders) const;
  /// Folder that a link of /sys stands for; the path itself when it is no link.
  static std::string resolved(const std::string& link);
  /// @param path  folder of the disk, links resolved
  std::optional<SysfsDisk> readDisk(const std::string& path) const;
  /// Folder of the controller, other than `path` for the merged form of a multipath drive.
  std::string controllerPath(const SysfsDisk& disk) const;
  StorageBusKind busKindAt(const SysfsDisk& disk, const std::string& controller,
                           const std::string& scsiType) const;
  bool isControllerVolume(const std::string& controller) const;

  std::string root_;
};

/// "8:16" as the kernel's 32-bit dev_t.
std::optional<std::uint32_t> parseDeviceNumber(const std::string& text);

/// The kernel's 32-bit form of a dev_t.
std::uint32_t deviceNumberOf(unsigned major, unsigned minor);

}  // namespace ostria::storage
