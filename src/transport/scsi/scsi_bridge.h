#pragma once

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

/// How a SCSI command reaches a device; this one gives it straight to the operating system. May be
/// shared by all bridges that wrap commands for one device. The handle is borrowed.
class ScsiBridge {
 public:
  explicit ScsiBridge(DeviceHandle handle) : handle_(handle) {}
  virtual ~ScsiBridge() = default;
  ScsiBridge(const ScsiBridge&) = delete;
  ScsiBridge& operator=(const ScsiBridge&) = delete;

  virtual DeviceHandle GetDeviceHandle() const { return handle_; }
  /// Status, sense and data come back in the command; a failing status is no failure of the send.
  virtual ProtocolResult Send(ScsiCmd& command);

 protected:
  ScsiBridge() = default;  ///< for bridges with another way to the device than a handle

 private:
  DeviceHandle handle_;
};

}  // namespace ostria::storage
