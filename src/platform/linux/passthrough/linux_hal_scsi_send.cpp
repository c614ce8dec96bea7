// The seam for SCSI commands on Linux: SG_IO. A status other than GOOD is the device's answer.
#include <algorithm>
#include <span>

#include "platform/linux/passthrough/sat_sense_registers.h"
#include "platform/linux/passthrough/sg_io.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/scsi/scsi_cmd.h"
#include "transport/scsi/scsi_opcodes.h"

namespace ostria::storage {
namespace {

// The kernel's ATA layer makes sense data for a pass-through that the drive never answered.
bool isLost(const SgCommand& sent) {
  const bool ataPassThrough =
      sent.cdb[0] == scsi::AtaPassThrough12 || sent.cdb[0] == scsi::AtaPassThrough16;
  const std::size_t length = std::min<std::size_t>(sent.senseLength, sent.sense.size());
  return ataPassThrough && isLostAtaCommand(std::span(sent.sense).first(length));
}

class LinuxHalScsiSend final : public HalScsiSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t /*extra*/, ScsiCmd& command) override {
    if (command.transferBytes > 0xFFFFFFFFu || command.cdbLength > command.cdb.size()) {
      return ProtocolResult::TransportFailure;
    }
    SgCommand packed;
    packed.cdb = command.cdb;
    packed.cdbLength = command.cdbLength;
    packed.direction = command.direction;
    packed.transferBytes = static_cast<std::uint32_t>(command.transferBytes);
    packed.data = command.data;
    packed.timeoutSeconds = command.timeoutSeconds;
    if (sendSgCommand(handle, packed) != 0) {
      return ProtocolResult::TransportFailure;
    }
    if (isLost(packed)) {
      return ProtocolResult::TransportFailure;
    }

    command.transferBytes = packed.movedBytes;
    command.scsiStatus = packed.status;
    std::copy_n(packed.sense.begin(), command.sense.size(), command.sense.begin());
    command.senseLength = packed.senseLength;
    return ProtocolResult::Success;
  }
};

}  // namespace

HalScsiSend& halScsiSend() {
  static auto* const kSend = new LinuxHalScsiSend;
  return *kSend;
}

}  // namespace ostria::storage
