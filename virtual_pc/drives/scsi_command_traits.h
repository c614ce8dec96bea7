// What the SCSI standards fix of each command (SPC-4, SBC-3): length of its CDB and where its data
// go.
#pragma once

#include <cstdint>

#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// Length of a CDB by the group of its operation code; 0 for vendor specific groups.
std::uint8_t scsiCdbLength(std::uint8_t opcode);

/// Whether a host may ask for this direction with the command. Any is right for commands that say
/// it in their CDB or that are not known here.
bool scsiDirectionFits(std::uint8_t opcode, DataDirection direction);

}  // namespace ostria::virtual_pc
