// CSMI over IOCTL_SCSI_MINIPORT.
#include "platform/windows/passthrough/win_device_control.h"
#include "raid/csmi/csmi_send.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_SCSI_MINIPORT == 0x4D008);
static_assert(sizeof(SRB_IO_CONTROL) == CsmiCmd::kHeaderBytes);

class WinCsmiSend final : public CsmiSend {
 public:
  ProtocolResult send(DeviceHandle handle, CsmiCmd& command) override {
    command.finishHeader();
    std::vector<std::uint8_t>& buffer = command.buffer();
    const ControlAnswer answer = deviceControl(handle, IOCTL_SCSI_MINIPORT, buffer.data(),
                                               buffer.size(), buffer.data(), buffer.size());
    // Where nothing came back, the buffer still holds the request, whose zeros read as a good
    // answer. A driver that refuses the request writes no more than the header, which says so.
    const std::size_t needed = answer.returned >= CsmiCmd::kHeaderBytes && command.returnCode() != 0
                                   ? CsmiCmd::kHeaderBytes
                                   : command.replyBytes();
    return answer && answer.returned >= needed ? ProtocolResult::Success
                                               : ProtocolResult::TransportFailure;
  }
};

}  // namespace

CsmiSend* csmiSend() {
  static CsmiSend* const kSender = new WinCsmiSend;
  return kSender;
}

}  // namespace ostria::storage
