// The Sunplus pass-through, command F8h: no registers come back.
#include "transport/tunnels/sunplus_bridge.h"

#include "transport/ata/ata_opcodes.h"
#include "transport/tunnels/usb_pass_through.h"

namespace ostria::storage {

namespace {

ProtocolResult sendGood(ScsiBridge& scsi, ScsiCmd& command) {
  const ProtocolResult result = scsi.Send(command);
  if (!succeeded(result)) {
    return result;
  }
  return command.scsiStatus == 0 ? ProtocolResult::Success : ProtocolResult::ScsiStatusNotGood;
}

}  // namespace

ProtocolResult SunplusBridge::Send(AtaCmd& command) {
  if (command.command != ata::IdentifyDevice) {
    return ProtocolResult::NotSupported;
  }
  if (IsLba48Command(command.command)) {
    SunplusAtaPassthroughPreset preset(command);
    const ProtocolResult result = sendGood(*scsi_, preset);
    if (!succeeded(result)) {
      return result;
    }
  }
  SunplusAtaPassThrough wrapped(command);
  const ProtocolResult result = sendGood(*scsi_, wrapped);
  if (succeeded(result)) {
    clearRegisters(command);  // the opcode would read as a status
    command.transferBytes = wrapped.transferBytes;
  }
  return result;
}

}  // namespace ostria::storage
