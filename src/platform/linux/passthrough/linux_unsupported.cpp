// What the kernel has no counterpart for; the callers handle these answers.

#include "transport/hal/predict_failure.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage {

ProtocolResult queryPredictedFailure(DeviceHandle, bool*) {
  return ProtocolResult::TransportFailure;
}

bool probeNvmeSystemCall(DeviceHandle) { return false; }

std::unique_ptr<StorageProtocol> makeNvmeSystemCallProtocol(DeviceHandle, const std::string&) {
  return nullptr;
}

}  // namespace ostria::storage
