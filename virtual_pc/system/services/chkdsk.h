// The filesystem checker of the system.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "virtual_pc/system/machine.h"
#include "virtual_pc/system/services/child_process.h"

namespace ostria::virtual_pc {

/// Whether a path names the filesystem checker of this machine.
bool isCheckerProgram(const Machine& machine, const std::string& path);

/// The checker at work on a volume, as the machine file tells it. Null when the system refuses to
/// start it.
/// @param volume  "C:"
/// @param repairs  with the switch /F: it locks the volume and repairs what it finds
std::shared_ptr<ProcessObject> startChecker(Machine& machine, const std::string& volume,
                                            bool repairs, std::shared_ptr<PipeChannel> output);

/// Notes a check of the volume for the next start.
/// @return the answer of the WMI method: 0 for noted, 4 for a drive that does not exist
std::int32_t scheduleCheck(Machine& machine, const std::string& volume);

}  // namespace ostria::virtual_pc
