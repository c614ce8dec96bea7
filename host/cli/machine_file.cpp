// The one thing that the program shares with the virtual PC: the reader of machine files.
#include "host/cli/machine_file.h"

#include "host/core/run/session_setup.h"
#include "virtual_pc/description/description.h"

namespace ostria::host {

OrUsageError<MachineFile> readMachineFile(const std::string& path) {
  const auto content = readFile(path);
  if (!content) {
    return UsageError{"file.machine_unreadable", {{"file", path}}};
  }
  virtual_pc::MachineDescription machine;
  std::string error;
  if (!virtual_pc::parseMachine(*content, &machine, &error)) {
    return UsageError{"file.machine_wrong", {{"file", path}, {"reason", error}}};
  }
  return MachineFile{machine.administrator};
}

}  // namespace ostria::host
