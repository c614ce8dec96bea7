// Who uses a disk: mounts on it or on what is built above it, swap, mapped devices, arrays, loops.
// A sector that is rewritten beneath any of these changes data that the kernel believes it knows.
#include "platform/linux/volumes/linux_disk_use.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/io/fd_handle.h"
#include "platform/linux/volumes/blkid_probe.h"
#include "platform/linux/volumes/mounts.h"

namespace ostria::storage {
namespace {

namespace fs = std::filesystem;

/// A device of the disk: the disk, a partition, or something built above one of them.
struct Layer {
  std::uint32_t number = 0;
  std::string path;  ///< folder in /sys
  std::string node;
  bool built = false;  ///< a mapped device, an array: not the disk or a partition of it
};

std::string nodeAt(const std::string& path) {
  std::string name = fs::path(path).filename().string();
  std::replace(name.begin(), name.end(), '!', '/');
  return "/dev/" + name;
}

std::vector<fs::path> entriesOf(const std::string& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

/// One disk of the system, and all that reaches its sectors.
class UseFinder {
 public:
  UseFinder(const std::string& diskPath, const std::string& root) : root_(root), tree_(root) {
    climb(diskPath);
    btrfs_ = btrfsGroups();
  }

  DiskUse find() {
    DiskUse use;
    findMounts(use);
    for (const Layer& layer : layers_) {
      if (layer.built) {
        use.users.push_back(describe(layer));
      } else if (tree_.attribute(layer.path, "ro") == "1") {
        use.users.push_back(layer.node + " is write protected");
      }
    }
    findSwap(use);
    findLoops(use);
    return use;
  }

  /// The device of this disk that a node leads to; null when there is none.
  const Layer* layerUnder(const std::string& node) const {
    if (const Layer* layer = layerOfNode(node)) {
      return layer;
    }
    struct stat about = {};
    if (::stat((root_ + node).c_str(), &about) != 0 || !S_ISBLK(about.st_mode)) {
      return nullptr;
    }
    // The node may lie on another disk, and its file system on this one as well.
    const std::uint32_t number = deviceNumberOf(major(about.st_rdev), minor(about.st_rdev));
    for (const auto& group : btrfs_) {
      if (group.count(number) == 0) {
        continue;
      }
      for (const std::uint32_t member : group) {
        if (const Layer* layer = layerOf(member)) {
          return layer;
        }
      }
    }
    return nullptr;
  }

  bool holdsMount(std::uint32_t device) const {
    const std::vector<MountEntry> mounts = readMounts(root_ + "/proc/self/mountinfo");
    return layerOf(device) != nullptr ||
           std::any_of(mounts.begin(), mounts.end(), [&](const MountEntry& mount) {
             return mount.device == device && layerUnder(mount.source) != nullptr;
           });
  }

 private:
  void climb(const std::string& diskPath) {
    std::vector<std::pair<std::string, bool>> pending = {{diskPath, false}};
    while (!pending.empty()) {
      const auto [path, built] = pending.back();
      pending.pop_back();
      const auto number = parseDeviceNumber(tree_.attribute(path, "dev"));
      if (!number || layerOf(*number) != nullptr) {
        continue;
      }
      layers_.push_back({*number, path, nodeAt(path), built});
      for (const fs::path& holder : entriesOf(path + "/holders")) {
        std::error_code error;
        const std::string target = fs::canonical(holder, error).string();
        if (!error) {
          pending.emplace_back(target, true);
        }
      }
      // Of the disk, and of an array as well: an array can have a table of its own.
      for (const fs::path& part : entriesOf(path)) {
        if (!tree_.attribute(part.string(), "partition").empty()) {
          pending.emplace_back(part.string(), built);
        }
      }
    }
  }

  const Layer* layerOf(std::uint32_t number) const {
    const auto found = std::find_if(layers_.begin(), layers_.end(),
                                    [&](const Layer& layer) { return layer.number == number; });
    return found == layers_.end() ? nullptr : &*found;
  }

  /// By what a name leads to, since a source may be any of a device's links.
  const Layer* layerOfNode(const std::string& name) const {
    if (!name.starts_with('/')) {
      return nullptr;
    }
    struct stat about = {};
    if (::stat((root_ + name).c_str(), &about) == 0 && S_ISBLK(about.st_mode)) {
      return layerOf(deviceNumberOf(major(about.st_rdev), minor(about.st_rdev)));
    }
    std::error_code error;
    std::string target = fs::weakly_canonical(root_ + name, error).string();
    if (error || !target.starts_with(root_)) {
      return nullptr;
    }
    target.erase(0, root_.size());
    const auto found = std::find_if(layers_.begin(), layers_.end(),
                                    [&](const Layer& layer) { return layer.node == target; });
    return found == layers_.end() ? nullptr : &*found;
  }

  /// The devices of each btrfs in use: a mount names only one of them.
  std::vector<std::set<std::uint32_t>> btrfsGroups() const {
    std::vector<std::set<std::uint32_t>> groups;
    for (const fs::path& system : entriesOf(root_ + "/sys/fs/btrfs")) {
      std::set<std::uint32_t> group;
      for (const fs::path& device : entriesOf(system.string() + "/devices")) {
        if (const auto number = parseDeviceNumber(tree_.attribute(device.string(), "dev"))) {
          group.insert(*number);
        }
      }
      groups.push_back(std::move(group));
    }
    return groups;
  }

  const Layer* layerOfMount(const MountEntry& mount) const {
    const Layer* const layer = layerOf(mount.device);
    return layer != nullptr ? layer : layerUnder(mount.source);
  }

  void findMounts(DiskUse& use) {
    for (const MountEntry& mount : readMounts(root_ + "/proc/self/mountinfo")) {
      const Layer* const layer = layerOfMount(mount);
      if (layer == nullptr) {
        continue;
      }
      if (layer->built) {
        mountsAbove_.emplace_back(layer->number, mount.target);
      } else if (std::find(use.volumes.begin(), use.volumes.end(), mount.target) ==
                 use.volumes.end()) {
        use.volumes.push_back(mount.target);
      }
    }
    // A volume that is mounted inside another has to go first.
    const auto depth = [](const std::string& path) {
      return path == "/" ? 0 : std::count(path.begin(), path.end(), '/');
    };
    std::stable_sort(
        use.volumes.begin(), use.volumes.end(),
        [&](const std::string& a, const std::string& b) { return depth(a) > depth(b); });
  }

  std::string describe(const Layer& layer) const {
    std::string text = layer.node;
    if (const std::string name = tree_.attribute(layer.path, "dm/name"); !name.empty()) {
      text += " (" + name + ")";
    }
    for (const auto& [number, target] : mountsAbove_) {
      if (number == layer.number) {
        text += " mounted at " + target;
      }
    }
    return text;
  }

  void findSwap(DiskUse& use) const {
    std::ifstream file(root_ + "/proc/swaps");
    std::string line;
    std::getline(file, line);  // the heading
    while (std::getline(file, line)) {
      const std::string name = line.substr(0, line.find_first_of(" \t"));
      if (layerOfNode(name) != nullptr) {
        use.users.push_back("swap on " + name);
      }
    }
  }

  void findLoops(DiskUse& use) const {
    for (const fs::path& block : entriesOf(root_ + "/sys/block")) {
      const std::string backing = tree_.attribute(block.string(), "loop/backing_file");
      if (!backing.empty() && layerOfNode(backing) != nullptr) {
        use.users.push_back(nodeAt(block.string()) + " on " + backing);
      }
    }
  }

  std::string root_;
  SysfsTree tree_;
  std::vector<Layer> layers_;
  std::vector<std::set<std::uint32_t>> btrfs_;
  std::vector<std::pair<std::uint32_t, std::string>> mountsAbove_;
};

std::string sysfsPathOf(std::uint32_t number, const std::string& root) {
  const std::uint32_t major = number >> 8 & 0xFFF;
  const std::uint32_t minor = (number & 0xFF) | (number >> 12 & 0xFFF00);
  std::error_code error;
  const std::string path =
      fs::canonical(root + "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor),
                    error)
          .string();
  return error ? "" : path;
}

/// The dev_t of an open disk. While it is open, the kernel gives that number to no other disk.
std::optional<std::uint32_t> numberOfOpenDisk(DeviceHandle disk) {
  struct stat about = {};
  if (::fstat(descriptorOf(disk), &about) != 0 || !S_ISBLK(about.st_mode)) {
    return std::nullopt;
  }
  return deviceNumberOf(major(about.st_rdev), minor(about.st_rdev));
}

/// Opens a node if it is the device with this number; -1 with an errno otherwise.
FdOwner openDevice(const std::string& node, std::uint32_t number, int flags) {
  FdOwner device(::open(node.c_str(), flags | O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (device.valid() && numberOfOpenDisk(handleOfDescriptor(device.get())) != number) {
    device.reset();
    errno = ENODEV;
  }
  return device;
}

/// A lock on the disk's node, which keeps udev from probing it meanwhile, and exclusive opens of
/// its partitions, or of the whole disk when it has none.
class LinuxDiskClaim final : public DiskClaim {
 public:
  bool lock(const std::string& node, std::uint32_t number) {
    constexpr int kTries = 30;
    lock_ = openDevice(node, number, 0);
    // udev holds the lock for moments while it looks at a disk.
    for (int i = 0; lock_.valid() && i < kTries; ++i) {
      if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
  }
  bool claim(const std::string& node, std::uint32_t number) {
    FdOwner device = openDevice(node, number, O_EXCL);
    if (!device.valid()) {
      return false;
    }
    claims_.push_back(std::move(device));
    return true;
  }

 private:
  FdOwner lock_;
  std::vector<FdOwner> claims_;
};

}  // namespace

std::optional<DiskUse> findDiskUse(std::uint32_t number, const std::string& root) {
  const std::string path = sysfsPathOf(number, root);
  if (path.empty()) {
    return std::nullopt;
  }
  return UseFinder(path, root).find();
}

std::optional<DiskUse> findDiskUse(DeviceHandle disk) {
  const auto number = numberOfOpenDisk(disk);
  return number ? findDiskUse(*number, "") : std::nullopt;
}

std::unique_ptr<DiskClaim> claimDisk(DeviceHandle disk, const std::vector<DeviceHandle>& held,
                                     std::string* user) {
  const auto number = numberOfOpenDisk(disk);
  const SysfsTree tree;
  const auto found = number ? tree.disk(*number) : std::nullopt;
  if (!found) {
    *user = "the device is gone";
    return nullptr;
  }
  auto claim = std::make_unique<LinuxDiskClaim>();
  if (!claim->lock(found->node, found->number)) {
    *user = found->node + " is locked by another program";
    return nullptr;
  }

  std::vector<SysfsPartition> parts = tree.partitions(*found);
  if (parts.empty()) {
    parts.push_back({found->number, 0, found->node, found->path});
  }
  for (const SysfsPartition& part : parts) {
    // What was taken off line is claimed already, by the handle that holds it.
    if (std::any_of(held.begin(), held.end(),
                    [&](DeviceHandle volume) { return numberOfOpenDisk(volume) == part.number; })) {
      continue;
    }
    if (!claim->claim(part.node, part.number)) {
      const auto content = probeFilesystem(part.node);
      *user = part.node + " is in use" + (content ? " (" + content->fileSystem + ")" : "");
      return nullptr;
    }
  }
  return claim;
}

std::unique_ptr<DiskClaim> lockDisk(DeviceHandle disk) {
  const auto number = numberOfOpenDisk(disk);
  const auto found = number ? SysfsTree().disk(*number) : std::nullopt;
  auto claim = std::make_unique<LinuxDiskClaim>();
  return found && claim->lock(found->node, found->number) ? std::move(claim) : nullptr;
}

bool isMountOfDisk(std::uint32_t device, std::uint32_t disk, const std::string& root) {
  const std::string path = sysfsPathOf(disk, root);
  return !path.empty() && UseFinder(path, root).holdsMount(device);
}

bool isOnDisk(DeviceHandle file, const std::string&, DeviceHandle disk) {
  const auto number = numberOfOpenDisk(disk);
  struct stat about = {};
  if (!number || ::fstat(descriptorOf(file), &about) != 0) {
    return !number;  // a drive without a node of its own has no mounts either
  }
  return isMountOfDisk(deviceNumberOf(major(about.st_dev), minor(about.st_dev)), *number, "");
}

bool diskHolds(DeviceHandle disk, const std::string& node) {
  const auto number = numberOfOpenDisk(disk);
  const std::string path = number ? sysfsPathOf(*number, "") : "";
  return !path.empty() && UseFinder(path, "").layerUnder(node) != nullptr;
}

}  // namespace ostria::storage
