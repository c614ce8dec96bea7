// The library that gives programs access to PCI functions and controller registers.
#pragma once

#include "virtual_pc/system/machine.h"

namespace ostria::virtual_pc {

/// Adds the driver service's library. Its service speaks of the controllers of the machine that
/// runs at the time of a call.
void addDriverService(Machine::Libraries& libraries);

}  // namespace ostria::virtual_pc
