// Disks in sysfs. The folder of a disk below /sys/devices names every bus and controller above it,
// so most answers are read from that path.
#include "platform/linux/discovery/sysfs_tree.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "platform/linux/io/fd_handle.h"

namespace ostria::storage {
namespace {

namespace fs = std::filesystem;

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool isNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return std::isdigit(c) != 0; });
}

// "ata3", "usb1": a component that is a word and a number.
bool isNumbered(std::string_view component, std::string_view word) {
  return startsWith(component, word) && isNumber(component.substr(word.size()));
}

template <typename Predicate>
bool anyComponent(const std::string& path, Predicate predicate) {
  for (const fs::path& part : fs::path(path)) {
    if (predicate(part.native())) {
      return true;
    }
  }
  return false;
}

// "mmcblk0boot1": an area of the chip beside the user data, not a disk of its own.
bool isEmmcArea(const std::string& name) {
  if (!startsWith(name, "mmcblk")) {
    return false;
  }
  return !isNumber(std::string_view(name).substr(6));
}

std::uint64_t parseUnsigned(const std::string& text) {
  std::uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Peripheral device types of SCSI that are disks: direct access, optical memory, reduced block
// commands, host-managed zones.
bool isDiskType(const std::string& type) {
  constexpr std::array<std::string_view, 4> kTypes = {"0", "7", "14", "20"};
  return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

// Drivers whose disks are volumes made by the controller, unless a SAS port stands between.
bool isRaidDriver(const std::string& driver) {
  constexpr std::array<std::string_view, 9> kDrivers = {"3w-9xxx",  "3w-sas",       "aacraid",
                                                        "arcmsr",   "hpsa",         "ipr",
                                                        "megaraid", "megaraid_sas", "smartpqi"};
  return std::find(kDrivers.begin(), kDrivers.end(), driver) != kDrivers.end();
}

std::string nodeOf(std::string name) {
  std::replace(name.begin(), name.end(), '!', '/');
  return "/dev/" + name;
}

DeviceConnection connectionAt(const SysfsDisk& disk, const std::string& controller) {
  const auto leavesTheMachine = [](const std::string& part) {
    // USB, iSCSI, Fibre Channel, FireWire, NVMe over a network.
    return isNumbered(part, "usb") || isNumbered(part, "session") || startsWith(part, "rport-") ||
           isNumbered(part, "fw") || part == "nvme-fabrics";
  };
  if (anyComponent(controller, leavesTheMachine)) {
    return DeviceConnection::External;
  }
  switch (disk.busKind) {
    case StorageBusKind::Ata:
    case StorageBusKind::Scsi:
    case StorageBusKind::Raid:
    case StorageBusKind::Nvme:
    case StorageBusKind::Emmc:
      return DeviceConnection::Internal;
    default:
      return startsWith(disk.name, "mmcblk") ? DeviceConnection::External : DeviceConnection::Other;
  }
}

// The last function in the path is the one that the disk hangs on; those before it are bridges.
std::optional<PciAddress> pciAddressIn(const std::string& controller) {
  std::optional<PciAddress> nearest;
  for (const fs::path& part : fs::path(controller)) {
    PciAddress address;
    int used = 0;
    if (std::sscanf(part.c_str(), "%x:%x:%x.%x%n", &address.domain, &address.bus, &address.device,
                    &address.function, &used) == 4 &&
        static_cast<std::size_t>(used) == part.native().size()) {
      nearest = address;
    }
  }
  return nearest;
}

// The two halves of the kernel's 32-bit dev_t.
unsigned majorOf(std::uint32_t number) { return number >> 8 & 0xFFFu; }
unsigned minorOf(std::uint32_t number) { return (number & 0xFFu) | (number >> 12 & 0xFFF00u); }

}  // namespace

std::uint32_t deviceNumberOf(unsigned major, unsigned minor) {
  return (minor & 0xFFu) | (major & 0xFFFu) << 8 | (minor & ~0xFFu) << 12;
}

std::optional<std::uint32_t> parseDeviceNumber(const std::string& text) {
  unsigned major = 0, minor = 0;
  if (std::sscanf(text.c_str(), "%u:%u", &major, &minor) != 2) {
    return std::nullopt;
  }
  return deviceNumberOf(major, minor);
}

SysfsTree::SysfsTree(std::string root) : root_(std::move(root)) {}

std::string SysfsTree::content(const std::string& folder, const std::string& name) {
  const FdOwner file(::open((folder + "/" + name).c_str(), O_RDONLY | O_CLOEXEC));
  std::array<char, 4096> page;  // no attribute is longer
  const ssize_t length = file.valid() ? ::read(file.get(), page.data(), page.size()) : 0;
  return length > 0 ? std::string(page.data(), static_cast<std::size_t>(length)) : std::string();
}

std::string SysfsTree::attribute(const std::string& folder, const std::string& name) const {
  std::string line = content(folder, name);
  line.resize(std::min(line.find('\n'), line.size()));
  line.erase(line.find_last_not_of(" \t\r") + 1);
  return line;
}

std::string SysfsTree::resolved(const std::string& link) {
  // The links of /sys lead to folders that are none, so one step is enough.
  std::array<char, PATH_MAX> target;
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  if (length <= 0) {
    return link;
  }
  const fs::path text(std::string(target.data(), static_cast<std::size_t>(length)));
  return (fs::path(link).parent_path() / text).lexically_normal().string();
}

std::optional<SysfsDisk> SysfsTree::readDisk(const std::string& path) const {
  SysfsDisk disk;
  disk.name = fs::path(path).filename().string();
  disk.path = path;
  // What has no hardware behind it (loop, ram, zram, md, mapped devices) has no such link.
  if (::access((path + "/device").c_str(), F_OK) != 0) {
    return std::nullopt;
  }
  if (isEmmcArea(disk.name) || attribute(path, "hidden") == "1") {
    return std::nullopt;
  }
  const std::string scsiType = attribute(path, "device/type");
  if (isNumber(scsiType) && !isDiskType(scsiType)) {
    return std::nullopt;
  }
  if (parseUnsigned(attribute(path, "size")) == 0) {
    return std::nullopt;
  }
  const auto number = parseDeviceNumber(attribute(path, "dev"));
  if (!number) {
    return std::nullopt;
  }
  disk.number = *number;
  disk.node = nodeOf(disk.name);
  disk.removable = attribute(path, "removable") == "1";
  const std::string controller = controllerPath(disk);
  disk.busKind = busKindAt(disk, controller, scsiType);
  disk.connection = connectionAt(disk, controller);
  disk.pci = pciAddressIn(controller);
  return disk;
}

std::vector<SysfsDisk> SysfsTree::disks() const {
  std::vector<SysfsDisk> found;
  for (const std::string& name : namesIn(root_ + "/sys/block")) {
    if (auto disk = readDisk(resolved(root_ + "/sys/block/" + name))) {
      found.push_back(std::move(*disk));
    }
  }
  return found;
}

std::optional<SysfsDisk> SysfsTree::disk(std::uint32_t number) const {
  const std::string link = root_ + "/sys/dev/block/" + std::to_string(majorOf(number)) + ":" +
                           std::to_string(minorOf(number));
  auto disk = readDisk(resolved(link));
  return disk && disk->number == number ? disk : std::nullopt;
}

std::string SysfsTree::identity(const SysfsDisk& disk) const {
  // Of SCSI and of what the kernel makes look so, vital product data page 80h: four bytes, then the
  // serial number. NVMe drives and cards have a file for it.
  constexpr std::size_t kPageHeader = 4;
  std::string serial = content(disk.path, "device/vpd_pg80");
  serial.erase(0, std::min(kPageHeader, serial.size()));
  if (serial.empty()) {
    serial = attribute(disk.path, "device/serial");
  }
  std::erase_if(serial, [](unsigned char c) { return c <= ' '; });
  return serial.empty() ? "model " + attribute(disk.path, "device/model") : serial;
}

std::vector<SysfsPartition> SysfsTree::partitions(const SysfsDisk& disk) const {
  std::vector<SysfsPartition> found;
  for (const std::string& name : namesIn(disk.path)) {
    // The folder also holds some forty attributes, which need not be opened to know that.
    if (!startsWith(name, disk.name)) {
      continue;
    }
    SysfsPartition partition;
    partition.path = disk.path + "/" + name;
    const std::string index = attribute(partition.path, "partition");
    const auto number = parseDeviceNumber(attribute(partition.path, "dev"));
    if (!isNumber(index) || !number) {
      continue;
    }
    partition.index = static_cast<std::uint32_t>(parseUnsigned(index));
    partition.number = *number;
    partition.node = nodeOf(name);
    found.push_back(std::move(partition));
  }
  return found;
}

std::vector<std::uint32_t> SysfsTree::withHolders(const std::string& devicePath) const {
  return numbersOf(devicePath, false);
}

std::vector<std::uint32_t> SysfsTree::withSoleHolders(const std::string& devicePath) const {
  return numbersOf(devicePath, true);
}

std::vector<std::uint32_t> SysfsTree::numbersOf(const std::string& devicePath,
                                                bool soleHolders) const {
  std::vector<std::uint32_t> numbers;
  for (const auto& [path, number] : climb(devicePath, soleHolders)) {
    numbers.push_back(number);
  }
  return numbers;
}

std::vector<std::string> SysfsTree::nodesWithHolders(const std::string& devicePath,
                                                     bool soleHolders) const {
  std::vector<std::string> nodes;
  for (const auto& [path, number] : climb(devicePath, soleHolders)) {
    nodes.push_back(nodeOf(fs::path(path).filename().string()));
    if (const std::string mapped = attribute(path, "dm/name"); !mapped.empty()) {
      nodes.push_back("/dev/mapper/" + mapped);
    }
  }
  return nodes;
}

std::vector<std::pair<std::string, std::uint32_t>> SysfsTree::climb(const std::string& devicePath,
                                                                    bool soleHolders) const {
  std::vector<std::pair<std::string, std::uint32_t>> devices;
  std::vector<std::string> pending = {devicePath};
  while (!pending.empty()) {
    const std::string path = std::move(pending.back());
    pending.pop_back();
    const auto number = parseDeviceNumber(attribute(path, "dev"));
    const auto isThis = [&](const auto& device) { return device.second == number; };
    if (!number || std::any_of(devices.begin(), devices.end(), isThis)) {
      continue;
    }
    devices.emplace_back(path, *number);
    const std::string holders = path + "/holders";
    for (const std::string& name : namesIn(holders)) {
      const std::string holder = fs::path(holders) / name;
      if (!soleHolders || namesIn(holder + "/slaves").size() == 1) {
        pending.push_back(holder);
      }
    }
  }
  return devices;
}

std::string SysfsTree::controllerPath(const SysfsDisk& disk) const {
  // A drive with several paths hangs on a virtual device; its first controller has the bus.
  if (disk.path.find("/nvme-subsys") == std::string::npos) {
    return disk.path;
  }
  const std::string subsystem = fs::path(disk.path).parent_path().string();
  for (const std::string& name : namesIn(subsystem)) {
    const std::string link = fs::path(subsystem) / name;
    if (const std::string controller = resolved(link);
        isNumbered(name, "nvme") && controller != link) {
      return controller + "/" + disk.name;
    }
  }
  return disk.path;
}

bool SysfsTree::isControllerVolume(const std::string& controller) const {
  bool sasPort = false;
  std::string host;
  for (const fs::path& part : fs::path(controller)) {
    if (startsWith(part.native(), "end_device-")) {
      sasPort = true;
    }
    if (isNumbered(part.native(), "host")) {
      host = part.native();
    }
  }
  return !sasPort && !host.empty() &&
         isRaidDriver(attribute(root_ + "/sys/class/scsi_host/" + host, "proc_name"));
}

StorageBusKind SysfsTree::busKindAt(const SysfsDisk& disk, const std::string& controller,
                                    const std::string& scsiType) const {
  const auto has = [&](std::string_view word) {
    return anyComponent(controller,
                        [&](const std::string& part) { return isNumbered(part, word); });
  };
  if (has("usb")) {
    return StorageBusKind::Usb;
  }
  if (startsWith(disk.name, "nvme")) {
    return StorageBusKind::Nvme;
  }
  if (startsWith(disk.name, "mmcblk")) {
    return disk.removable ? StorageBusKind::Unknown : StorageBusKind::Emmc;
  }
  if (has("ata")) {
    return StorageBusKind::Ata;
  }
  if (!isNumber(scsiType)) {
    return StorageBusKind::Unknown;
  }
  return isControllerVolume(controller) ? StorageBusKind::Raid : StorageBusKind::Scsi;
}

}  // namespace ostria::storage
