#pragma once

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

class NvmeCmd;

/// How an NVMe command reaches a controller: directly on the disk's handle.
class NvmeBridge {
 public:
  explicit NvmeBridge(DeviceHandle handle) : handle_(handle) {}
  virtual ~NvmeBridge() = default;
  NvmeBridge(const NvmeBridge&) = delete;
  NvmeBridge& operator=(const NvmeBridge&) = delete;

  virtual DeviceHandle GetDeviceHandle() { return handle_; }
  /// Sends one command and waits for it. `Success` says that the pass-through carried it, not that
  /// the controller completed it well.
  virtual ProtocolResult Send(NvmeCmd& command);

 protected:
  DeviceHandle handle_;
};

/// Through the miniport pass-through that addresses devices by path. `port` is the SCSI port.
class NvmeIntelBridge : public NvmeBridge {
 public:
  explicit NvmeIntelBridge(DeviceHandle port) : NvmeBridge(port) {}
  ProtocolResult Send(NvmeCmd& command) override;
};

/// Through the miniport pass-through without a path, for at most 4096 bytes a command. `port` is
/// the SCSI port.
class NvmeMiniIntelBridge : public NvmeBridge {
 public:
  explicit NvmeMiniIntelBridge(DeviceHandle port) : NvmeBridge(port) {}
  ProtocolResult Send(NvmeCmd& command) override;
};

}  // namespace ostria::storage
