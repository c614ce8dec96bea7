// The environment is all that a module can be given before it is loaded.
#include "host/cli/module_start.h"

#include "host/cli/installed_files.h"
#include "host/cli/stop.h"
#include "host/platform/environment.h"

namespace ostria::host {
namespace {

constexpr const char* kMachineVariable = "OSTRIA_VIRTUAL_PC";
// With it the module itself writes nothing, whatever this program asks of it.
constexpr const char* kReadOnlyVariable = "OSTRIA_READ_ONLY";

}  // namespace

std::string trustedModulePath(bool virtualPc, const Texts& texts) {
  std::string path = modulePath(virtualPc);
  if (path.empty()) {
    throw Stop{ExitCode::CouldNotStart, texts.say("module.no_folder")};
  }
  return path;
}

void prepareModule(bool readOnly, const std::optional<std::string>& machineFile) {
  setVariable(kMachineVariable, machineFile.value_or(std::string()));
  // One that was there before holds all the same.
  if (readOnly) {
    setVariable(kReadOnlyVariable, "1");
  }
}

}  // namespace ostria::host
