// The JMicron pass-through, command DFh: no registers come back.
#include "transport/tunnels/jmicron_bridge.h"

#include "transport/ata/ata_opcodes.h"
#include "transport/tunnels/usb_pass_through.h"

namespace ostria::storage {

ProtocolResult JMicronBridge::Send(AtaCmd& command) {
  if (command.command != ata::IdentifyDevice) {
    return ProtocolResult::NotSupported;
  }
  JMicronAtaPassThrough12 wrapped(command);
  const ProtocolResult result = scsi_->Send(wrapped);
  if (!succeeded(result)) {
    return result;
  }
  if (wrapped.scsiStatus != 0) {
    return ProtocolResult::ScsiStatusNotGood;
  }
  clearRegisters(command);  // the opcode would read as a status
  command.transferBytes = wrapped.transferBytes;
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
