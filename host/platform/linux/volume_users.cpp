// proc(5): the links cwd, root, exe and fd/* of each process. The mount point must begin another
// file system than its parent, or nothing is known: everything would use the root.
#include "host/platform/volume_users.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace ostria::host {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMost = 10;

bool isOn(const std::string& path, dev_t device) {
  struct stat entry {};
  return stat(path.c_str(), &entry) == 0 && entry.st_dev == device;
}

bool uses(const std::string& process, dev_t device) {
  for (const char* link : {"/cwd", "/root", "/exe"}) {
    if (isOn(process + link, device)) {
      return true;
    }
  }
  std::error_code error;
  for (fs::directory_iterator file(process + "/fd", error), end; !error && file != end;
       file.increment(error)) {
    if (isOn(file->path().string(), device)) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<std::string> volumeUsers(const std::string& mountPoint) {
  struct stat volume {};
  struct stat parent {};
  if (mountPoint.empty() || mountPoint.front() != '/' || stat(mountPoint.c_str(), &volume) != 0 ||
      stat((mountPoint + "/..").c_str(), &parent) != 0 || volume.st_dev == parent.st_dev) {
    return {};
  }
  std::vector<std::string> users;
  std::error_code error;
  for (fs::directory_iterator process("/proc", error), end;
       !error && process != end && users.size() < kMost; process.increment(error)) {
    const std::string number = process->path().filename().string();
    const bool digits = number.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || number == std::to_string(getpid()) ||
        !uses(process->path().string(), volume.st_dev)) {
      continue;
    }
    std::string name;
    std::getline(std::ifstream(process->path().string() + "/comm"), name);
    users.push_back(name + " (" + number + ")");
  }
  return users;
}

}  // namespace ostria::host
