// The machine file of a virtual PC, looked at before the module gets it.
#pragma once

#include <string>

#include "host/core/user_error.h"

namespace ostria::host {

/// What the program itself wants to know of a machine file.
struct MachineFile {
  bool administrator = true;  ///< its user may open disks
};

/// What is wrong with the text of a machine file, in one sentence; empty when nothing is.
std::string machineFault(const std::string& text);

/// Reads and checks the file, so that a mistake in it is one sentence with its location, before
/// anything is loaded.
OrUsageError<MachineFile> readMachineFile(const std::string& path);

}  // namespace ostria::host
