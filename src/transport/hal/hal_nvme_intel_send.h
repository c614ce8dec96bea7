#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class NvmeCmd;

/// Passes the 64-byte command image of an `NvmeCmd` to the controller behind an open port, for the
/// device at `pathId`. Device-to-host transfers only.
class HalNvmeIntelSend {
 public:
  /// On success `transferBytes` of returned data stand in `command.data`. Where the driver does not
  /// pass the completion status on, a refused command is a success with zeros. Blocks for up to
  /// `timeoutSeconds`.
  /// @return `Success`, or `Failure` on a transport failure
  virtual ProtocolResult Send(DeviceHandle handle, std::uint32_t extra, NvmeCmd& command) = 0;

 protected:
  ~HalNvmeIntelSend() = default;
};

/// The platform's one instance, made on first use and never destroyed.
HalNvmeIntelSend& halNvmeIntelSend();

}  // namespace ostria::storage
