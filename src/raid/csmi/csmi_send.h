#pragma once

#include "base/device_handle.h"
#include "base/protocol_result.h"
#include "raid/csmi/csmi_cmd.h"

namespace ostria::storage {

/// Passes a CSMI request to the miniport behind an open port.
class CsmiSend {
 public:
  virtual ~CsmiSend() = default;

  /// Sets the header's size fields, sends the whole buffer and takes the reply back into it.
  /// @return `TransportFailure` when the platform call failed, or the driver wrote fewer bytes than
  ///         the command's `replyBytes`; what it made of the request stands in the return code
  virtual ProtocolResult send(DeviceHandle handle, CsmiCmd& command) = 0;
};

/// The one sender, made on first use and never freed; null on a platform without CSMI. Defined by
/// each platform.
CsmiSend* csmiSend();

}  // namespace ostria::storage
