// The seam for ATA commands: what a platform executes, and how its result is judged.
#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class AtaCmd;

/// Executes one ATA command on an open device through the operating system's pass-through.
class HalAtaSend {
 public:
  /// On success the seven output registers stand in the command (error in `features`, status in
  /// `command`, the "previous" bytes as they were), and for a data-in command the data in
  /// `command.data` with their count in `transferBytes`. Blocks for up to `timeoutSeconds`.
  /// @return `Success`, also when the drive set its error bit; `NoDataReturned` when a data-in
  ///         command brought zero bytes although some were asked for (registers are written,
  ///         `transferBytes` is left); `AccessDenied`; `TransportFailure` with the command as it
  ///         was
  virtual ProtocolResult Send(DeviceHandle handle, AtaCmd& command) = 0;

 protected:
  ~HalAtaSend() = default;
};

/// Whether the platform's ATA pass-through is an ATA PASS-THROUGH command of SAT itself, to the
/// same open device. A SAT bridge beside it would be the same way twice: a command that was lost
/// would be sent again, for another full time-out.
bool ataSendSpeaksSat();

/// The platform's one instance, made on first use and never destroyed.
HalAtaSend& halAtaSend();

}  // namespace ostria::storage
