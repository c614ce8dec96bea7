// Driver rows from sysfs, in the form of the WMI class Win32_PnPSignedDriver.
#include "platform/linux/services/linux_driver_rows.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "services/device_text.h"

namespace ostria::storage {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Model from the ATA information page (SAT, VPD page 89h), where the kernel keeps it: the 16
/// characters of the SCSI model are too few for most ATA drives.
std::string ataModel(const fs::path& device) {
  constexpr std::size_t kIdentifyOffset = 60;
  constexpr std::size_t kModelOffset = kIdentifyOffset + 54;
  constexpr std::size_t kModelBytes = 40;
  const std::string page = readFile(device / "vpd_pg89");
  if (page.size() < kModelOffset + kModelBytes) {
    return "";
  }
  std::string model = page.substr(kModelOffset, kModelBytes);
  for (std::size_t i = 0; i + 1 < model.size(); i += 2) {
    std::swap(model[i], model[i + 1]);
  }
  return cleanedDeviceText(model);
}

/// The folder of the driver behind a disk; NVMe has the controller's class device in between.
fs::path driverOf(const fs::path& device) {
  for (const fs::path& link : {device / "driver", device / "device" / "driver"}) {
    if (::access(link.c_str(), F_OK) == 0) {
      return link;
    }
  }
  return {};
}

/// Whether a disk hangs on USB: its folder, or that of its device, lies below a USB device.
bool isUsb(const fs::path& disk) {
  std::error_code failed;
  return fs::read_symlink(disk, failed).native().find("/usb") != std::string::npos ||
         fs::read_symlink(disk / "device", failed).native().find("/usb") != std::string::npos;
}

/// Version of a driver that did not come with the kernel, which marks it as "out of tree". Those
/// that did come with it keep numbers that nobody has changed for years, or none.
std::string ownVersion(const fs::path& driver) {
  if (driver.empty() || readFile(driver / "module" / "taint").find('O') == std::string::npos) {
    return "";
  }
  return cleanedDeviceText(readFile(driver / "module" / "version"));
}

}  // namespace

std::vector<std::map<std::string, std::string>> diskDriverRows(const std::string& root) {
  std::vector<std::map<std::string, std::string>> rows;
  const std::string kernel = cleanedDeviceText(readFile(root + "/proc/sys/kernel/osrelease"));
  std::error_code failed;
  std::vector<fs::path> disks;
  for (fs::directory_iterator entry(root + "/sys/block", failed), end; !failed && entry != end;
       entry.increment(failed)) {
    disks.push_back(entry->path());
  }
  std::sort(disks.begin(), disks.end());

  for (const fs::path& disk : disks) {
    const fs::path device = disk / "device";
    if (::access(device.c_str(), F_OK) != 0) {
      continue;  // no hardware behind it: a loop or a mapped device
    }
    std::string model = ataModel(device);
    if (model.empty()) {
      model = cleanedDeviceText(readFile(device / "model"));
    }
    if (model.empty()) {
      model = cleanedDeviceText(readFile(device / "name"));  // eMMC and SD
    }
    const fs::path driver = driverOf(device);
    std::string version = ownVersion(driver);
    if (version.empty()) {
      version = kernel;
    }
    rows.push_back({{"DeviceClass", "DISKDRIVE"},
                    {"FriendlyName", model},
                    {"DriverVersion", version},
                    {"CompatID", isUsb(disk) ? "USBSTOR\\Disk" : "GenDisk"}});
  }
  return rows;
}

}  // namespace ostria::storage
