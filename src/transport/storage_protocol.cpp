// What all protocols share: the cached properties and the operating system's own failure
// prediction.
#include "transport/storage_protocol.h"

#include "transport/hal/predict_failure.h"

namespace ostria::storage {

StorageProtocol::StorageProtocol() : properties_(std::make_unique<StorageProtocolProperties>()) {}

StorageProtocol::~StorageProtocol() = default;

bool StorageProtocol::IsAccessible() {
  StorageProtocolProperties scratch;
  return succeeded(GetProperties(&scratch));
}

ProtocolResult StorageProtocol::GetCachedProperties(StorageProtocolProperties* out) const {
  if (out == nullptr) {
    return ProtocolResult::Failure;
  }
  *out = *properties_;
  return ProtocolResult::Success;
}

ProtocolResult StorageProtocol::PredictFailureFallback(std::uint8_t* healthy) {
  bool failing = false;
  const ProtocolResult result = queryPredictedFailure(GetDeviceHandle(), &failing);
  if (succeeded(result)) {
    *healthy = failing ? 0 : 1;
  }
  return result;
}

}  // namespace ostria::storage
