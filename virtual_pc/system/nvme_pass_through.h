// The pass-through that a machine's driver has to an NVMe drive.
#pragma once

#include "virtual_pc/description/nvme_description.h"
#include "virtual_pc/system/disk.h"
#include "virtual_pc/system/port.h"

namespace ostria::virtual_pc {

/// Gives the programs of the machine the pass-through to an NVMe drive that its description names.
/// The disk lives as long as the port.
void addNvmePassThrough(DiskObject& disk, PortObject& port, const NvmeDescription& description);

/// Gives a port the requests by path for an NVMe drive that the system has no disk for. Machine and
/// drive outlive the port's requests.
void addNvmeMember(Machine& machine, Drive& drive, PortObject& port,
                   const NvmeDescription& description);

}  // namespace ostria::virtual_pc
