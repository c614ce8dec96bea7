// The root of all ways to an ATA drive.
#pragma once

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "transport/ata/ata_cmd.h"

namespace ostria::storage {

/// How an ATA command reaches a drive; this one gives it straight to the operating system. A bridge
/// does not interpret the drive's verdict: an error of the drive is `Success` with the ERR bit in
/// the command. The handle is borrowed.
class AtaBridge {
 public:
  explicit AtaBridge(DeviceHandle handle) : handle_(handle) {}
  virtual ~AtaBridge() = default;
  AtaBridge(const AtaBridge&) = delete;
  AtaBridge& operator=(const AtaBridge&) = delete;

  virtual DeviceHandle GetDeviceHandle() const { return handle_; }
  /// Registers and data come back in the command. Blocks for up to its timeout. After a failure the
  /// command may be changed.
  virtual ProtocolResult Send(AtaCmd& command);

 protected:
  AtaBridge() = default;  ///< for bridges that wrap another one and have no handle of their own

 private:
  DeviceHandle handle_;
};

}  // namespace ostria::storage
