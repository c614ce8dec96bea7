// The one call behind every SCSI and ATA command on Linux.
#pragma once

#include <array>
#include <cstdint>

#include "base/device_handle.h"
#include "base/kinds.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

/// One command for the kernel's SCSI pass-through, and what came back.
struct SgCommand {
  std::array<std::uint8_t, 16> cdb{};
  std::uint8_t cdbLength = 0;
  DataDirection direction = DataDirection::None;
  std::uint32_t transferBytes = 0;
  void* data = nullptr;  ///< aligned for the device by `sendSgCommand`'s own block
  std::uint32_t timeoutSeconds = 30;

  std::uint8_t status = 0;  ///< a `ScsiStatus`
  std::array<std::uint8_t, 64> sense{};
  std::uint8_t senseLength = 0;
  std::uint32_t movedBytes = 0;

  bool hasStatus(ScsiStatus other) const { return status == static_cast<std::uint8_t>(other); }
};

/// Executes a command. @return 0 when the device answered, whatever it answered; else the errno of
/// the refusal, EIO when the command was lost on the way, EROFS for what would write where nothing
/// may be written, EBUSY for what could wake a disk that is left asleep
int sendSgCommand(DeviceHandle handle, SgCommand& command);

}  // namespace ostria::storage
