#pragma once

#include <string>
#include <vector>

#include "tools/tool_status.h"

namespace ostria::storage {

/// How one kind of file system is checked.
struct LinuxChecker {
  std::vector<const char*> fileSystems;  ///< as libblkid names them
  const char* program;
  /// Repairs what can be repaired without a decision of a person; the device comes last.
  std::vector<const char*> arguments;
  bool progress;                   ///< writes "pass done total device" lines to descriptor 3
  std::vector<int> repairedCodes;  ///< exit codes that mean: errors found and repaired
  /// Asks for a check at the next start; empty for a file system that cannot be asked.
  const char* scheduler;
  std::vector<const char*> schedulerArguments;
  /// The program claims the device by itself; the others write to one that is mounted elsewhere.
  bool claims = true;
  const char* note = "";  ///< what a person should know of the check's reach
};

/// Null for a file system without a checker that can be trusted to repair it unattended.
const LinuxChecker* findLinuxChecker(const std::string& fileSystem);

/// The command that asks for a check at the next start. A volume that has no limit of mounts gets
/// one that it never reaches again once it was checked.
/// @param program  path of the checker's scheduler
std::vector<std::string> schedulerCommand(const LinuxChecker& checker, const std::string& program,
                                          const std::string& device);

/// Exit code 0 is a file system without errors, whatever the checker.
ToolStatus checkerStatus(const LinuxChecker& checker, int exitCode);

}  // namespace ostria::storage
