// What the kernel knows of the disks: buses from sysfs, partitions from libblkid, mounts from
// libmount.
#include "platform/linux/discovery/linux_storage_scanner.h"

#include <fcntl.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

#include "inventory/partitions/partition_layout.h"
#include "platform/linux/discovery/linux_device_scanner.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/keep_asleep.h"
#include "platform/linux/volumes/blkid_probe.h"

namespace ostria::storage {
namespace {

void addSpace(const std::string& root, bool ntfs, VolumeFacts& facts) {
  struct statvfs status = {};
  if (::statvfs(root.c_str(), &status) != 0) {
    return;
  }
  VolumeFacts::Space space;
  space.total = std::uint64_t{status.f_blocks} * status.f_frsize;
  space.free = std::uint64_t{status.f_bfree} * status.f_frsize;
  facts.space = space;
  if (ntfs) {
    facts.clusterBytes = static_cast<std::uint32_t>(status.f_bsize);
  }
}

/// Joins what is on one device, and where that and all above it is mounted.
void joinDevice(const SysfsTree& tree, const std::vector<MountEntry>& mounts, std::uint32_t number,
                const std::string& node, const std::string& path,
                std::optional<VolumeFacts::Identity> identity, PartitionEntry& entry) {
  const bool ntfs = identity && identity->fileSystem == "ntfs";
  VolumeFacts facts;
  facts.identity = std::move(identity);
  joinVolume(facts, entry);
  entry.mountPoints.clear();
  const std::vector<std::uint32_t> devices = tree.withHolders(path);
  const std::vector<std::uint32_t> alone =
      devices.size() > 1 ? tree.withSoleHolders(path) : devices;
  // A file system with a number of its own (btrfs) is known by the node that it was mounted from.
  const std::vector<std::string> nodes = tree.nodesWithHolders(path, false);
  const std::vector<std::string> nodesAlone = tree.nodesWithHolders(path, true);
  const auto isAmong = [](const std::vector<std::uint32_t>& numbers,
                          const std::vector<std::string>& names, const MountEntry& mount) {
    return std::find(numbers.begin(), numbers.end(), mount.device) != numbers.end() ||
           std::find(names.begin(), names.end(), mount.source) != names.end();
  };
  const std::uint64_t partitionBytes = entry.sizeBytes;
  for (const MountEntry& mount : mounts) {
    const bool own = mount.device == number || mount.source == node;
    const bool above = isAmong(devices, nodes, mount);
    const auto& known = entry.mountPoints;
    if ((!own && !above) || std::find(known.begin(), known.end(), mount.target) != known.end()) {
      continue;
    }
    VolumeFacts there;
    there.root = mount.target;
    const bool first = entry.mountPoints.empty();
    if (own || (first && isAmong(alone, nodesAlone, mount))) {
      addSpace(mount.target, ntfs, there);
    }
    if (!own && first) {
      // The size of a volume above is not the partition's, nor is space on other disks: none of
      // that counts as free here.
      const std::uint64_t free = there.space ? there.space->free : 0;
      there.space = VolumeFacts::Space{partitionBytes, std::min(free, partitionBytes)};
    }
    joinVolume(there, entry);
  }
}

}  // namespace

std::unique_ptr<StorageScanner> makeStorageScanner() {
  return std::make_unique<LinuxStorageScanner>();
}

int LinuxStorageScanner::listDevices(DevicePathMap& out) {
  devicePaths_.clear();
  disks_.clear();
  for (SysfsDisk& disk : tree_.disks()) {
    devicePaths_[disk.number] = {disk.node};
    disks_[disk.number] = std::move(disk);
  }
  if (tree_.isOfSystem()) {
    rememberListed(disks_);
  }
  mounts_.reset();
  out = devicePaths_;
  return 0;
}

bool LinuxStorageScanner::listOrder(std::vector<Position>& order) {
  order.clear();
  for (const auto& [number, disk] : disks_) {
    const bool listed = !disk.removable && disk.busKind != StorageBusKind::Raid &&
                        disk.busKind != StorageBusKind::Unknown;
    order.push_back({number, listed ? tree_.identity(disk) : std::string()});
  }
  std::stable_sort(order.begin(), order.end(), [this](const Position& a, const Position& b) {
    return disks_.at(a.number).connection < disks_.at(b.number).connection;
  });
  return true;
}

const SysfsDisk* LinuxStorageScanner::find(std::uint32_t number) {
  auto found = disks_.find(number);
  if (found == disks_.end()) {
    auto disk = tree_.disk(number);
    if (!disk) {
      return nullptr;
    }
    found = disks_.emplace(number, std::move(*disk)).first;
  }
  return &found->second;
}

int LinuxStorageScanner::getConnection(std::uint32_t number, DeviceConnection* connection) {
  const SysfsDisk* const disk = find(number);
  if (disk == nullptr) {
    return 1;
  }
  *connection = disk->connection;
  return 0;
}

int LinuxStorageScanner::getDeviceId(std::uint32_t number, std::string* id) {
  if (find(number) == nullptr) {
    return 1;
  }
  *id = std::to_string(number);
  return 0;
}

int LinuxStorageScanner::isRemovableMedia(std::uint32_t number, bool* removable) {
  const SysfsDisk* const disk = find(number);
  if (disk == nullptr) {
    return 1;
  }
  *removable = disk->removable;
  return 0;
}

int LinuxStorageScanner::getBusKind(std::uint32_t number, StorageBusKind* busKind,
                                    bool* /*optaneVolume*/) {
  const SysfsDisk* const disk = find(number);
  *busKind = disk == nullptr ? StorageBusKind::Unknown : disk->busKind;
  return disk == nullptr ? 1 : 0;
}

int LinuxStorageScanner::getMiniportPath(std::uint32_t number, std::string* path) {
  const SysfsDisk* const disk = find(number);
  if (disk == nullptr || disk->busKind != StorageBusKind::Nvme) {
    return disk == nullptr ? ENODEV : ENOENT;
  }
  *path = disk->node;
  return 0;
}

int LinuxStorageScanner::getPciLocation(std::uint32_t number,
                                        std::array<std::uint8_t, 3>* location) {
  const SysfsDisk* const disk = find(number);
  if (disk == nullptr) {
    return ENODEV;
  }
  // Three numbers have no room for a domain: in another one they would name another controller.
  const std::optional<PciAddress>& address = disk->pci;
  if (!address || address->domain != 0 || address->bus > 0xFF) {
    return ENOENT;
  }
  *location = {static_cast<std::uint8_t>(address->bus), static_cast<std::uint8_t>(address->device),
               static_cast<std::uint8_t>(address->function)};
  return 0;
}

int LinuxStorageScanner::readPartitionTable(std::uint32_t number, PartitionTable* table,
                                            std::uint64_t sizeInBytes) {
  const SysfsDisk* const disk = find(number);
  if (disk == nullptr) {
    return 1;
  }
  if (isLeftAsleep(number)) {
    return EBUSY;
  }
  const FdOwner device(::open(disk->node.c_str(), O_RDONLY | O_CLOEXEC));
  if (!device.valid()) {
    return errno;
  }
  bool readsHang = false;
  const auto layout = probeDisk(device.get(), &readsHang);
  if (!layout) {
    return readsHang ? kReadsDoNotEnd : EIO;
  }
  buildPartitions(*layout, *table);
  rewriteLogicalPartitions(table->partitions);
  table->diskNumber = number;
  if (layout->style == PartitionStyle::Raw) {
    PartitionEntry whole;
    whole.sizeBytes = sizeInBytes;
    table->partitions.push_back(std::move(whole));
  }
  joinVolumes(*disk, layout->whole, *table, readsHang);
  table->unallocatedBytes = unallocatedBytes(sizeInBytes, table->partitions);
  return readsHang ? kReadsDoNotEnd : 0;
}

void LinuxStorageScanner::joinVolumes(const SysfsDisk& disk,
                                      const std::optional<VolumeFacts::Identity>& wholeDisk,
                                      PartitionTable& table, bool& readsHang) {
  if (!mounts_) {
    mounts_ = readMounts();
  }
  const std::vector<MountEntry>& mounts = *mounts_;
  for (const SysfsPartition& partition : tree_.partitions(disk)) {
    for (PartitionEntry& entry : table.partitions) {
      if (entry.number == partition.index) {
        // Each further look would cost its 30 seconds.
        const auto identity =
            readsHang ? std::nullopt : probeFilesystem(partition.node, &readsHang);
        joinDevice(tree_, mounts, partition.number, partition.node, partition.path, identity,
                   entry);
      }
    }
  }
  if (table.schema != "RAW") {
    return;
  }
  PartitionEntry& whole = table.partitions.back();
  joinDevice(tree_, mounts, disk.number, disk.node, disk.path, wholeDisk, whole);
  if (whole.fileSystem.empty() && whole.mountPoints.empty()) {
    table.partitions.pop_back();
  }
}

int LinuxStorageScanner::dismountVolume(const std::string& name, DeviceHandle* handle) {
  std::string target = name;
  while (target.size() > 1 && target.back() == '/') {
    target.pop_back();
  }
  TakenMounts taken;
  int error = unmountFilesystem(target, taken);
  if (error == ENOENT) {
    // Another mount point of a volume that is off line already goes with it.
    for (const auto& [held, mounts] : offline_) {
      if (std::none_of(mounts.begin(), mounts.end(),
                       [&](const TakenMount& taken) { return taken.mount.target == target; })) {
        continue;
      }
      const int copy = ::fcntl(descriptorOf(DeviceHandle(held)), F_DUPFD_CLOEXEC, 0);
      if (copy < 0) {
        return errno;
      }
      *handle = handleOfDescriptor(copy);
      return 0;
    }
  }
  if (error != 0) {
    return error;
  }

  DeviceHandle volume;
  try {
    error = deviceScanner_->open(taken.front().mount.source, &volume);
    if (error == 0) {
      error = deviceScanner_->lock(volume);
    }
    if (error == 0) {
      offline_[volume.value()] = std::move(taken);
      *handle = volume;
      return 0;
    }
  } catch (const std::bad_alloc&) {
    error = ENOMEM;
  }
  if (volume) {
    deviceScanner_->close(volume);
  }
  return mountAgain(taken) == 0 ? error : kNotMountedAgain;
}

int LinuxStorageScanner::releaseVolume(std::string& name, std::vector<std::string>& list,
                                       DeviceHandle handle, std::string& text) {
  name.clear();
  list.clear();
  text.clear();
  int error = deviceScanner_->close(handle);
  const auto volume = offline_.find(handle.value());
  if (volume == offline_.end()) {
    return error;
  }
  const int mounting = mountAgain(volume->second);
  offline_.erase(volume);
  return error != 0 ? error : mounting;
}

std::string LinuxStorageScanner::reasonOf(int error) {
  return std::generic_category().message(error);
}

}  // namespace ostria::storage
