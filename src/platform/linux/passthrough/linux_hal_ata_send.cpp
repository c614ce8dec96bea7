// The seam for ATA commands on Linux.
#include <cerrno>

#include "platform/linux/passthrough/sg_ata_pass_through.h"
#include "transport/hal/hal_ata_send.h"

namespace ostria::storage {
namespace {

/// SG_IO with ATA PASS-THROUGH (16). The kernel's own ATA layer and the firmware of SAS controllers
/// both translate it.
class LinuxHalAtaSend final : public HalAtaSend {
 public:
  ProtocolResult Send(DeviceHandle handle, AtaCmd& command) override {
    // A data command that asks for no bytes would move 256 or 65536 sectors on the wire.
    const bool movesData = command.dataDirection != DataDirection::None;
    if (command.transferBytes > 0xFFFFFFFFu || (movesData && command.transferBytes == 0)) {
      return ProtocolResult::TransportFailure;
    }
    SgCommand packed = ataPassThrough(command);
    const int error = sendSgCommand(handle, packed);
    if (error == EACCES || error == EPERM) {
      return ProtocolResult::AccessDenied;
    }
    if (error != 0) {
      return ProtocolResult::TransportFailure;
    }
    return takeAtaAnswer(packed, command);
  }
};

}  // namespace

bool ataSendSpeaksSat() { return true; }

HalAtaSend& halAtaSend() {
  static auto* const kSend = new LinuxHalAtaSend;
  return *kSend;
}

}  // namespace ostria::storage
