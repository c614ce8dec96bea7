// The one thing that the program shares with the virtual PC: the reader of machine files.
#include "host/cli/machine_file.h"

#include "host/platform/files.h"
#include "virtual_pc/description/description.h"

namespace ostria::host {

std::string machineFault(const std::string& text) {
  virtual_pc::MachineDescription machine;
  std::string reason;
  return virtual_pc::parseMachine(text, &machine, &reason) ? std::string() : reason;
}

OrUsageError<MachineFile> readMachineFile(const std::string& path) {
  const auto content = readRegularFile(path, kMachineDemands);
  if (const auto* error = std::get_if<UsageError>(&content)) {
    return *error;
  }
  virtual_pc::MachineDescription machine;
  std::string reason;
  if (!virtual_pc::parseMachine(std::get<std::string>(content), &machine, &reason)) {
    return UsageError{"file.machine_wrong", {{"file", path}, {"reason", reason}}};
  }
  return MachineFile{machine.administrator};
}

}  // namespace ostria::host
