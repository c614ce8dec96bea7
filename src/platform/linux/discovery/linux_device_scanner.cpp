// Opening and enumeration of disks. A disk is known by the dev_t of its node, and claimed by
// opening it with O_EXCL, as mounting it would.
#include "platform/linux/discovery/linux_device_scanner.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/io/open_unbuffered.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

bool wantsPorts(const DeviceScanFilter& filter) {
  const auto* own = dynamic_cast<const LinuxDeviceScanFilter*>(&filter);
  return own != nullptr && own->kind() == LinuxDeviceScanFilter::Kind::StoragePorts;
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
    if (!ports || tree_.busKind(disk) == StorageBusKind::Nvme) {
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
  if (wantsPorts(filter) && tree_.busKind(*disk) != StorageBusKind::Nvme) {
    return ENOENT;
  }
  *path = disk->node;
  return 0;
}

int LinuxDeviceScanner::deviceProperty(std::uint32_t number, std::uint32_t property,
                                       std::string* text) {
  if (property != kLocationInformationProperty) {
    return EINVAL;
  }
  const auto disk = tree_.disk(number);
  if (!disk) {
    return ENODEV;
  }
  const auto address = tree_.pciAddress(*disk);
  if (!address) {
    return ENOENT;
  }
  *text = "PCI bus " + std::to_string(address->bus) + ", device " +
          std::to_string(address->device) + ", function " + std::to_string(address->function);
  return 0;
}

int LinuxDeviceScanner::deviceProperty(const DeviceScanFilter& /*filter*/, std::uint32_t number,
                                       std::uint32_t property, std::string* text) {
  return deviceProperty(number, property, text);
}

int LinuxDeviceScanner::open(const std::string& path, DeviceHandle* handle) {
  int descriptor = openUnbuffered(path, O_RDWR);
  if (descriptor < 0 && (errno == EACCES || errno == EPERM || errno == EROFS)) {
    descriptor = openUnbuffered(path, O_RDONLY);
  }
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
  return ::close(descriptorOf(handle)) == 0 ? 0 : errno;
}

}  // namespace ostria::storage
