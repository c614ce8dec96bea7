// The name of the host, the distribution as it calls itself, and the kernel.
#include "host/platform/computer_name.h"

#include <sys/utsname.h>

#include <fstream>

namespace ostria::host {
namespace {

std::string prettySystemName() {
  std::ifstream file("/etc/os-release");
  const std::string wanted = "PRETTY_NAME=";
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(wanted)) {
      continue;
    }
    std::string value = line.substr(wanted.size());
    std::erase(value, '"');
    return value;
  }
  return {};
}

}  // namespace

ComputerName computerName() {
  utsname kernel{};
  if (uname(&kernel) != 0) {
    return {};
  }
  std::string system = prettySystemName();
  system += (system.empty() ? "" : ", ") + std::string(kernel.sysname) + " " + kernel.release +
            " (" + kernel.machine + ")";
  return {kernel.nodename, system};
}

}  // namespace ostria::host
