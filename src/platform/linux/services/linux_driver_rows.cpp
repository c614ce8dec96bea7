// Driver rows from sysfs, in the form of the WMI class Win32_PnPSignedDriver.
#include "platform/linux/services/linux_driver_rows.h"

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
  constexpr std::size_t kModelOffset = kIdentifyOffset + 2 * 27;
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

/// The directory of the driver behind a disk; NVMe has the controller's class device in between.
fs::path driverOf(const fs::path& device) {
  for (const fs::path& link : {device / "driver", device / "device" / "driver"}) {
    std::error_code failed;
    if (const fs::path driver = fs::canonical(link, failed); !failed) {
      return driver;
    }
  }
  return {};
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
    const fs::path device = fs::canonical(disk / "device", failed);
    if (failed) {
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
    std::string version =
        driver.empty() ? "" : cleanedDeviceText(readFile(driver / "module" / "version"));
    if (version.empty()) {
      version = kernel;
    }
    const bool usb = device.native().find("/usb") != std::string::npos;
    rows.push_back({{"DeviceClass", "DISKDRIVE"},
                    {"FriendlyName", model},
                    {"DriverVersion", version},
                    {"CompatID", usb ? "USBSTOR\\Disk" : "GenDisk"}});
  }
  return rows;
}

}  // namespace ostria::storage
