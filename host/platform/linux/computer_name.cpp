#include "host/platform/linux/computer_name.h"

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

void nameMachine(bool virtualPc, std::string& name, std::string& system) {
  if (virtualPc) {
    name = "Virtual PC";
    system = "simulated";
    return;
  }
  utsname kernel{};
  if (uname(&kernel) != 0) {
    return;
  }
  name = kernel.nodename;
  system = prettySystemName();
  system += (system.empty() ? "" : ", ") + std::string(kernel.sysname) + " " + kernel.release +
            " (" + kernel.machine + ")";
}

}  // namespace ostria::host
