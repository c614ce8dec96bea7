// The program from its arguments to its exit code.
#pragma once

#include <string>
#include <vector>

#include "host/platform/interrupts.h"

namespace ostria::host {

/// The whole program.
/// @param arguments  without the program's name
/// @return the exit code
int runApplication(const std::vector<std::string>& arguments, Interrupts& interrupts);

}  // namespace ostria::host
