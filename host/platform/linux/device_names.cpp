// The module's name of a disk is the kernel's device number. sysfs leads from it to the node;
// udev's links lead to the node from names that do not move.
#include "host/platform/linux/device_names.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/platform/device_names.h"

namespace ostria::host {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> linksTo(const std::string& root, const std::string& folder,
                                 const std::string& node) {
  std::vector<std::string> out;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(root + folder, error)) {
    std::error_code unreadable;
    const fs::path real = fs::canonical(entry.path(), unreadable);
    if (!unreadable && real == fs::path(root + node).lexically_normal()) {
      out.push_back(folder + "/" + entry.path().filename().string());
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::string firstWord(const std::string& path) {
  std::ifstream file(path);
  std::string word;
  file >> word;
  return word;
}

}  // namespace

DeviceNames deviceNames(const std::string& id, const std::string& root) {
  DeviceNames names;
  std::uint32_t number = 0;
  const auto [end, failure] = std::from_chars(id.data(), id.data() + id.size(), number);
  if (id.empty() || failure != std::errc() || end != id.data() + id.size()) {
    return names;  // a drive behind a RAID controller has no node
  }
  // The kernel's 32-bit form: 12 bits of the major number between two parts of the minor.
  const std::uint32_t major = number >> 8 & 0xFFFu;
  const std::uint32_t minor = (number & 0xFFu) | (number >> 12 & 0xFFF00u);
  const std::string link =
      root + "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor);
  std::error_code error;
  const fs::path folder = fs::canonical(link, error);
  if (error) {
    return names;
  }
  // sysfs writes "!" where a node lies in a folder.
  std::string name = folder.filename().string();
  std::replace(name.begin(), name.end(), '!', '/');
  names.node = "/dev/" + name;
  names.byId = linksTo(root, "/dev/disk/by-id", names.node);
  names.byPath = linksTo(root, "/dev/disk/by-path", names.node);
  for (const char* file : {"/wwid", "/device/wwid"}) {
    const std::string wwid = firstWord(folder.string() + file);
    if (wwid.starts_with("naa.") || wwid.starts_with("eui.")) {
      names.wwn = wwid;
      break;
    }
  }
  return names;
}

DeviceNames deviceNames(const std::string& id) { return deviceNames(id, ""); }

std::string resolvedDevicePath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real.string();
}

}  // namespace ostria::host
