// The plain way of a SCSI command: the system's pass-through on the device's own handle.

#include "transport/scsi/scsi_bridge.h"

#include "transport/command_recorder.h"
#include "transport/hal/hal_scsi_send.h"

namespace ostria::storage {

ProtocolResult ScsiBridge::Send(ScsiCmd& command) {
  const ProtocolResult result = halScsiSend().Send(handle_, 1, command);
  if (CommandRecorder* const recorder = commandRecorder()) {
    recorder->noteCarrier(command, result);
  }
  return result;
}

}  // namespace ostria::storage
