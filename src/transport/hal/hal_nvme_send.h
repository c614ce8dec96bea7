#pragma once

#include <cstdint>

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class NvmeCmd;

/// Executes one NVMe command on an open device. No platform so far reaches a device this way.
class HalNvmeSend {
 public:
  /// @return a failure with the command as it was
  virtual ProtocolResult Send(DeviceHandle handle, std::uint32_t extra, NvmeCmd& command) = 0;

 protected:
  ~HalNvmeSend() = default;
};

/// The platform's one instance, made on first use and never destroyed.
HalNvmeSend& halNvmeSend();

}  // namespace ostria::storage
