// The management node of the megaraid_sas driver. The driver takes any free major number and asks
// udev for nothing, so the node is there only if some other software made it, perhaps under a
// number of an earlier start. Without a right one a private one is made, opened and removed at
// once.
#include "platform/linux/raid/megaraid_node.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace ostria::storage {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDriver = "megaraid_sas";
constexpr const char* kCharacterDevice = "megaraid_sas_ioctl";
constexpr const char* kNode = "/dev/megaraid_sas_ioctl_node";

std::string firstWord(const fs::path& file) {
  std::ifstream in(file);
  std::string word;
  in >> word;
  return word;
}

bool isNode(const struct stat& found, unsigned major) {
  return S_ISCHR(found.st_mode) && found.st_rdev == makedev(major, 0);
}

// A node of that number, or none: another one may be of a driver that acts on being opened.
FdOwner openNode(const std::string& path, unsigned major, int& error) {
  struct stat found = {};
  if (::lstat(path.c_str(), &found) != 0 || !isNode(found, major)) {
    error = ENODEV;
    return FdOwner();
  }
  FdOwner node(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!node.valid()) {
    error = errno;
  } else if (::fstat(node.get(), &found) != 0 || !isNode(found, major)) {
    error = ENODEV;
    node.reset();
  }
  return node;
}

// Only below /dev are nodes sure to be more than files: other folders are mounted "nodev".
FdOwner openPrivateNode(unsigned major, int& error) {
  std::string folder = "/dev/.ostria-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) {
    error = errno;
    return FdOwner();
  }
  const std::string path = folder + "/node";
  FdOwner node;
  if (::mknod(path.c_str(), S_IFCHR | 0600, makedev(major, 0)) != 0) {
    error = errno;
  } else {
    node = openNode(path, major, error);
    ::unlink(path.c_str());
  }
  ::rmdir(folder.c_str());
  return node;
}

}  // namespace

unsigned MegaraidNode::majorNumber() const {
  std::ifstream devices(root_ + "/proc/devices");
  std::string line;
  while (std::getline(devices, line) && line.rfind("Block devices", 0) != 0) {
    const std::size_t number = line.find_first_not_of(' ');
    const std::size_t name = line.rfind(' ') + 1;
    if (number == std::string::npos ||
        line.compare(name, std::string::npos, kCharacterDevice) != 0) {
      continue;
    }
    unsigned major = 0;
    std::from_chars(line.data() + number, line.data() + line.size(), major);
    return major;
  }
  return 0;
}

std::string MegaraidNode::version() const {
  return firstWord(root_ + "/sys/module/" + kDriver + "/version");
}

std::vector<std::uint32_t> MegaraidNode::controllers() const {
  std::vector<std::uint32_t> found;
  std::error_code error;
  fs::directory_iterator entry(root_ + "/sys/class/scsi_host", error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::uint16_t host = 0;
    const auto [end, failure] = std::from_chars(name.data() + std::min<std::size_t>(name.size(), 4),
                                                name.data() + name.size(), host);
    // A packet has 16 bits for the number.
    if (name.rfind("host", 0) == 0 && failure == std::errc() && end == name.data() + name.size() &&
        firstWord(entry->path() / "proc_name") == kDriver) {
      found.push_back(host);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

int MegaraidNode::open() {
  if (node_.valid()) {
    return 0;
  }
  const unsigned major = majorNumber();
  if (major == 0) {
    return ENODEV;
  }
  int error = 0;
  node_ = openNode(root_ + kNode, major, error);
  if (!node_.valid() && error == ENODEV && root_.empty()) {
    node_ = openPrivateNode(major, error);
  }
  return node_.valid() ? 0 : error;
}

int MegaraidNode::send(mfi::Packet& packet) {
  if (const int error = open(); error != 0) {
    return error;
  }
  // A signal may end the wait for a free frame, never a command: what was sent is not sent twice.
  if (::ioctl(node_.get(), mfi::kIoctlFirmware, &packet) < 0) {
    return errno == 0 ? EIO : errno;
  }
  return 0;
}

}  // namespace ostria::storage
