// The seam for SCSI commands: what a platform executes, and how its result is judged.
#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class ScsiCmd;

/// Executes one SCSI command on an open device through the operating system's pass-through.
class HalScsiSend {
 public:
  /// On success `transferBytes` is the count that moved, `scsiStatus`, `sense` (up to 32 bytes) and
  /// `senseLength` are set, and incoming data stand in `command.data`. A failing SCSI status is no
  /// transport failure. Blocks for up to `timeoutSeconds`.
  /// @param extra  bytes by which the platform's block is made larger; 1 from the bridges
  /// @return `Success`, or `TransportFailure` with the command as it was
  virtual ProtocolResult Send(DeviceHandle handle, std::uint32_t extra, ScsiCmd& command) = 0;

 protected:
  ~HalScsiSend() = default;
};

/// The platform's one instance, made on first use and never destroyed.
HalScsiSend& halScsiSend();

}  // namespace ostria::storage
