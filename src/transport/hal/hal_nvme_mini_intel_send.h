#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class NvmeCmd;

/// As `HalNvmeIntelSend`, without a path and for at most 4096 bytes a command.
class HalNvmeMiniIntelSend {
 public:
  /// Admin commands only.
  /// @return `Success`; `Failure` on a transport failure, for a completion status other than 0, for
  ///         a command of the I/O queue, or when `transferBytes` is above 4096
  virtual ProtocolResult Send(DeviceHandle handle, std::uint32_t extra, NvmeCmd& command) = 0;

 protected:
  ~HalNvmeMiniIntelSend() = default;
};

/// The platform's one instance, made on first use and never destroyed.
HalNvmeMiniIntelSend& halNvmeMiniIntelSend();

}  // namespace ostria::storage
