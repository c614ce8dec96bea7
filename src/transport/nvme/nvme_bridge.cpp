// Each bridge is one of the platform's pass-throughs, on a handle of the disk or of its port.

#include "transport/nvme/nvme_bridge.h"

#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_nvme_send.h"

namespace ostria::storage {

ProtocolResult NvmeBridge::Send(NvmeCmd& command) {
  return halNvmeSend().Send(handle_, 1, command);
}

ProtocolResult NvmeIntelBridge::Send(NvmeCmd& command) {
  return halNvmeIntelSend().Send(handle_, 1, command);
}

ProtocolResult NvmeMiniIntelBridge::Send(NvmeCmd& command) {
  return halNvmeMiniIntelSend().Send(handle_, 1, command);
}

}  // namespace ostria::storage
