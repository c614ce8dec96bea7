// The module's name of a disk is the kernel's device number. sysfs leads from it to the node;
// udev's links lead to the node from names that do not move.
#include "host/platform/linux/device_names.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include "host/platform/device_names.h"
#include "host/platform/linux/megaraid_disks.h"

namespace ostria::host {
namespace {

namespace fs = std::filesystem;

using LinksByNode = std::map<std::string, std::vector<std::string>>;

/// What a link leads to. Those of udev and sysfs lead to what is no link itself, so one step is
/// enough; resolving each part of the path anew is most of what a list costs on a large machine.
fs::path leadsTo(const fs::path& link, std::error_code& error) {
  const fs::path target = fs::read_symlink(link, error);
  return error ? fs::path() : (link.parent_path() / target).lexically_normal();
}

/// The links of a folder of udev's by the node that each leads to, sorted.
LinksByNode linksIn(const std::string& root, const std::string& folder) {
  LinksByNode out;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(root + folder, error)) {
    std::error_code unreadable;
    const fs::path real = leadsTo(entry.path(), unreadable);
    if (!unreadable) {
      out[real.string()].push_back(folder + "/" + entry.path().filename().string());
    }
  }
  for (auto& [node, links] : out) {
    std::sort(links.begin(), links.end());
  }
  return out;
}

/// udev's names of the disks as they were at the first look: resolving every link for every disk
/// would take a square of their number.
struct Links {
  explicit Links(const std::string& root)
      : root(root),
        byId(linksIn(root, "/dev/disk/by-id")),
        byPath(linksIn(root, "/dev/disk/by-path")) {}

  std::vector<std::string> of(const LinksByNode& links, const std::string& node) const {
    const auto found = links.find(fs::path(root + node).lexically_normal().string());
    return found == links.end() ? std::vector<std::string>() : found->second;
  }

  std::string root;
  LinksByNode byId;
  LinksByNode byPath;
};

std::string firstWord(const std::string& path) {
  std::ifstream file(path);
  std::string word;
  file >> word;
  return word;
}

// "2:5", drive 5 of the controller at host 2, which the kernel may show as a disk all the same.
std::string folderOfMember(const std::string& id, const std::string& root) {
  for (const MegaraidDisk& disk : megaraidDisks(root)) {
    if (!disk.volume && id == std::to_string(disk.host) + ":" + std::to_string(disk.driveNumber)) {
      return root + "/sys/block/" + disk.name;
    }
  }
  return {};
}

std::string folderOf(const std::string& id, const std::string& root) {
  std::uint32_t number = 0;
  const auto [end, failure] = std::from_chars(id.data(), id.data() + id.size(), number);
  if (id.empty() || failure != std::errc() || end != id.data() + id.size()) {
    return id.find(':') == std::string::npos ? std::string() : folderOfMember(id, root);
  }
  // The kernel's 32-bit form: 12 bits of the major number between two parts of the minor.
  const std::uint32_t major = number >> 8 & 0xFFFu;
  const std::uint32_t minor = (number & 0xFFu) | (number >> 12 & 0xFFF00u);
  return root + "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor);
}

// The PCI function that is nearest to the disk: of a USB disk that of the USB controller.
std::string controllerOf(const fs::path& folder) {
  constexpr std::string_view kForm = "xxxx:xx:xx.x";
  std::string controller;
  for (const fs::path& part : folder) {
    const std::string name = part.string();
    bool fits = name.size() == kForm.size();
    for (std::size_t i = 0; fits && i < name.size(); ++i) {
      fits = kForm[i] == 'x' ? std::isxdigit(static_cast<unsigned char>(name[i])) != 0
                             : name[i] == kForm[i];
    }
    if (fits) {
      controller = name;
    }
  }
  return controller;
}

DeviceNames namesOf(const std::string& id, const std::string& root, const Links& links) {
  DeviceNames names;
  const std::string link = folderOf(id, root);
  std::error_code error;
  const fs::path folder = link.empty() ? fs::path() : leadsTo(link, error);
  if (error || folder.empty()) {
    return names;  // mostly a drive behind a RAID controller, which has no node
  }
  // sysfs writes "!" where a node lies in a folder.
  std::string name = folder.filename().string();
  std::replace(name.begin(), name.end(), '!', '/');
  names.node = "/dev/" + name;
  names.byId = links.of(links.byId, names.node);
  names.byPath = links.of(links.byPath, names.node);
  if (name.starts_with("nvme")) {
    names.controllerState = firstWord(folder.string() + "/device/state");
  }
  names.controller = controllerOf(folder);
  for (const char* file : {"/wwid", "/device/wwid"}) {
    const std::string wwid = firstWord(folder.string() + file);
    if (wwid.starts_with("naa.") || wwid.starts_with("eui.")) {
      names.wwn = wwid;
      break;
    }
  }
  return names;
}

}  // namespace

DeviceNames deviceNames(const std::string& id, const std::string& root) {
  return namesOf(id, root, Links(root));
}

DeviceNames deviceNames(const std::string& id) {
  static const Links kLinks("");
  return namesOf(id, "", kLinks);
}

std::string resolvedDevicePath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real.string();
}

std::string deviceIdAt(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) {
    return {};
  }
  const std::uint32_t major = ::major(status.st_rdev);
  const std::uint32_t minor = ::minor(status.st_rdev);
  return std::to_string((minor & 0xFFu) | (major & 0xFFFu) << 8 | (minor & ~0xFFu) << 12);
}

}  // namespace ostria::host
