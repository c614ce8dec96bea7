// What the WMI repository holds when the PC is switched on.
#pragma once

#include <memory>

#include "virtual_pc/system/services/wmi_repository.h"

namespace ostria::virtual_pc {

class Machine;

/// What the WMI service of a PC knows at its start: a signed driver for each drive, the
/// volumes with the method that schedules their check, and the rows of the machine file.
std::unique_ptr<WmiRepository> makeWmiRepository(Machine& machine);

}  // namespace ostria::virtual_pc
