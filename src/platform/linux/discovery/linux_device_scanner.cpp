// Opening and enumeration of disks. A disk is known by the dev_t of its node, and claimed by
// opening it with O_EXCL, as mounting it would.
#include "platform/linux/discovery/linux_device_scanner.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/open_unbuffered.h"
#include "platform/linux/passthrough/keep_asleep.h"
#include "platform/linux/passthrough/read_only.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

bool wantsPorts(const DeviceScanFilter& filter) {
  const auto* own = dynamic_cast<const LinuxDeviceScanFilter*>(&filter);
  return own != nullptr && own->kind() == LinuxDeviceScanFilter::Kind::StoragePorts;
}

/// Whether this process may send any command through a descriptor that is open for reading alone.
bool mayCommandReadOnly() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data = {};
  if (::syscall(SYS_capget, &header, data.data()) != 0) {
    return false;
  }
  constexpr std::uint32_t kNeeded = 1u << CAP_SYS_RAWIO | 1u << CAP_SYS_ADMIN;
  return (data[0].effective & kNeeded) == kNeeded;
}

std::string pciLocationText(const PciAddress& address) {
  const std::string domain =
      address.domain == 0 ? "" : "domain " + std::to_string(address.domain) + ", ";
  return "PCI " + domain + "bus " + std::to_string(address.bus) + ", device " +
         std::to_string(address.device) + ", function " + std::to_string(address.function);
}

int openNode(const std::string& path) {
  // Data are written by commands alone, and those need no descriptor for writing where the process
  // has the rights. When a writer closes a disk, udev reads its partition table anew and runs its
  // rules: a list of the disks would wake all of them.
  int descriptor = openUnbuffered(path, isReadOnly() || mayCommandReadOnly() ? O_RDONLY : O_RDWR);
  if (descriptor < 0 && (errno == EACCES || errno == EPERM || errno == EROFS || errno == EBUSY)) {
    descriptor = openUnbuffered(path, O_RDONLY);
  }
  return descriptor;
}

}  // namespace

DeviceScanner* get_device_scanner() { return new LinuxDeviceScanner; }

void release_device_scanner(DeviceScanner* scanner) { delete scanner; }

int LinuxDeviceScanner::listPaths(const DeviceScanFilter& filter, DevicePathMap& out) {
  out.clear();
  const bool ports = wantsPorts(filter);
  for (const SysfsDisk& disk : tree_.disks()) {
    // The namespace's node takes admin and I/O commands alike, and the kernel refuses an I/O
    // command for any other namespace on it.
    if (!ports || disk.busKind == StorageBusKind::Nvme) {
      out[disk.number] = {disk.node};
    }
  }
  return 0;
}

int LinuxDeviceScanner::devicePath(const DeviceScanFilter& filter, std::uint32_t number,
                                   std::string* path) {
  const auto disk = tree_.disk(number);
  if (!disk) {
    return ENODEV;
  }
  if (wantsPorts(filter) && disk->busKind != StorageBusKind::Nvme) {
    return ENOENT;
  }
  *path = disk->node;
  return 0;
}

int LinuxDeviceScanner::deviceProperty(std::uint32_t number, std::uint32_t property,
                                       std::string* text) {
  if (property != kLocationInformationProperty && property != kFriendlyNameProperty) {
    return EINVAL;
  }
  const auto disk = tree_.disk(number);
  if (!disk) {
    return ENODEV;
  }
  if (property == kFriendlyNameProperty) {
    *text = tree_.attribute(disk->path, "device/model");
    return text->empty() ? ENOENT : 0;
  }
  if (disk->pci) {
    *text = pciLocationText(*disk->pci);
    return 0;
  }
  // An NVMe drive over a network or on a board without PCI is still reached by its node; callers
  // want a number, which plays no part here.
  if (disk->busKind != StorageBusKind::Nvme) {
    return ENOENT;
  }
  *text = "path 0, no PCI function";
  return 0;
}

int LinuxDeviceScanner::deviceProperty(const DeviceScanFilter& /*filter*/, std::uint32_t number,
                                       std::uint32_t property, std::string* text) {
  return deviceProperty(number, property, text);
}

int LinuxDeviceScanner::listDevices(const DeviceScanFilter& filter,
                                    const std::vector<std::uint32_t>& properties,
                                    std::vector<ListedDevice>& devices) {
  devices.clear();
  DevicePathMap paths;
  listPaths(filter, paths);
  for (auto& [number, nodes] : paths) {
    ListedDevice device{number, std::move(nodes), {}};
    for (const std::uint32_t property : properties) {
      std::string text;
      if (deviceProperty(number, property, &text) == 0) {
        device.properties[property] = std::move(text);
      }
    }
    devices.push_back(std::move(device));
  }
  return 0;
}

int LinuxDeviceScanner::open(const std::string& path, DeviceHandle* handle) {
  const int descriptor = openAsleep(path, openNode);
  if (descriptor < 0) {
    return errno == EPERM ? EACCES : errno;
  }
  *handle = handleOfDescriptor(descriptor);
  return 0;
}

int LinuxDeviceScanner::lock(DeviceHandle handle) {
  const int descriptor = descriptorOf(handle);
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0) {
    return errno;
  }
  // The claim is made by opening. The same number then stands for the claiming descriptor.
  const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
  const FdOwner claim(::open(self.c_str(), (flags & (O_ACCMODE | O_DIRECT)) | O_EXCL | O_CLOEXEC));
  if (!claim.valid()) {
    return errno;
  }
  return ::dup3(claim.get(), descriptor, O_CLOEXEC) < 0 ? errno : 0;
}

int LinuxDeviceScanner::close(DeviceHandle handle) {
  forgetAsleep(descriptorOf(handle));
  return ::close(descriptorOf(handle)) == 0 ? 0 : errno;
}

}  // namespace ostria::storage
