// SCSI (SSP) and ATA (STP) to drives behind a CSMI controller.
#include "raid/csmi/csmi_bridges.h"

#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

namespace {

/// Sends a pass-through. A drive that the driver could not reach shows as a non-zero return code,
/// and the zeroed reply behind it must not pass for a good answer; but what the drive itself says
/// against the command tells more than the code does.
template <typename PassThrough, typename Command>
ProtocolResult passThrough(CsmiSend* sender, DeviceHandle port, const CsmiPhyEntry& phy,
                           Command& command) {
  if (sender == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  PassThrough request(command, phy);
  const ProtocolResult result = sender->send(port, request);
  if (!succeeded(result)) {
    return result;
  }
  if (!request.reachedDrive() || (request.returnCode() != 0 && !request.holdsError())) {
    return ProtocolResult::TransportFailure;
  }
  return request.takeReply(command);
}

}  // namespace

ProtocolResult CsmiSspBridge::Send(ScsiCmd& command) {
  return passThrough<CsmiSspPassthrough>(sender_, GetDeviceHandle(), phy_, command);
}

ProtocolResult CsmiStpBridge::Send(AtaCmd& command) {
  return passThrough<CsmiStpPassthrough>(sender_, GetDeviceHandle(), phy_, command);
}

}  // namespace ostria::storage
