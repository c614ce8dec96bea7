// Drives behind a RAID controller, and the SATA register frames that reach them.
#pragma once

#include <cstdint>

#include "virtual_pc/drives/device_model.h"
#include "virtual_pc/drives/drive.h"

namespace ostria::virtual_pc {

class Machine;

// Drives behind a RAID controller, as the controller's driver sees them.

bool isSata(const Drive& drive);
bool isSas(const Drive& drive);

/// What became of a command for a drive.
enum class DriveReply {
  Answered,
  Unreached,    ///< the drive is gone, or did not answer in time
  SystemError,  ///< the system refused; the exchange has the code
};

/// Sends a command to a drive for a driver that waits `timeout` microseconds at most. The duration
/// in the exchange is then what it took.
DriveReply sendToMember(Machine& machine, AtaDeviceModel& model, AtaExchange& exchange,
                        std::uint64_t timeout);
DriveReply sendToMember(Machine& machine, ScsiDeviceModel& model, ScsiExchange& exchange,
                        std::uint64_t timeout);
DriveReply sendToMember(Machine& machine, NvmeDeviceModel& model, NvmeExchange& exchange,
                        std::uint64_t timeout);

/// The task file that a host-to-device register FIS of 20 bytes holds.
AtaTaskFile readCommandFis(const std::uint8_t* fis);
/// Writes the device-to-host register FIS that ends a command.
void writeReplyFis(const AtaTaskFile& registers, std::uint8_t* fis);

}  // namespace ostria::virtual_pc
