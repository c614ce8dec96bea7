// The module as a tool of evidence: whatever is asked of it, no medium changes.
#pragma once

#include <cstdint>

#include "platform/linux/passthrough/sg_io.h"

namespace ostria::storage {

/// Whether this process must not change a medium: the host has set OSTRIA_READ_ONLY in its
/// environment, to any text, before the first call into the module. It is looked at once.
bool isReadOnly();

/// Whether a command for the SCSI pass-through can leave the medium other than it was; ATA commands
/// inside of one are looked at, and what is not known counts as one that can. Settings of the
/// device (SMART on and off) and its self-tests are no change of the medium.
bool changesMedium(const SgCommand& command);

/// The same for an NVMe command. @param io  it goes to the I/O queue
bool changesMedium(std::uint32_t nvmeOpcode, bool io);

}  // namespace ostria::storage
