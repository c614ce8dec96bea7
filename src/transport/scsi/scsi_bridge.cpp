// The plain way of a SCSI command: the system's pass-through on the device's own handle.

#include "transport/scsi/scsi_bridge.h"

#include "transport/hal/hal_scsi_send.h"

namespace ostria::storage {

ProtocolResult ScsiBridge::Send(ScsiCmd& command) {
  return halScsiSend().Send(handle_, 1, command);
}

}  // namespace ostria::storage
