// What all protocols share: the cached properties, the operating system's own failure prediction,
// and the bodies of the operations that most protocols have nothing for.
#include "transport/storage_protocol.h"

#include "transport/hal/predict_failure.h"

namespace ostria::storage {

StorageProtocol::StorageProtocol() : properties_(std::make_unique<StorageProtocolProperties>()) {}

StorageProtocol::~StorageProtocol() = default;

ProtocolResult StorageProtocol::Read(std::uint64_t /*lba*/, std::uint16_t /*sectors*/,
                                     std::uint32_t /*timeoutSeconds*/, void* /*buffer*/,
                                     std::uint32_t /*bufferBytes*/) {
  return ProtocolResult::NotSupported;
}
ProtocolResult StorageProtocol::Write(std::uint64_t /*lba*/, std::uint16_t /*sectors*/,
                                      std::uint64_t /*ignored*/, const void* /*buffer*/) {
  return ProtocolResult::NotSupported;
}

ProtocolResult StorageProtocol::StartSelfTest(std::uint8_t /*code*/, std::uint8_t /*second*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetSelfTestProgress(std::uint8_t* /*percent*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetSelfTestResult(std::uint8_t* /*code*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::AbortSelfTest() { return ProtocolResult::Success; }
ProtocolResult StorageProtocol::GetFirstFailedLba(std::uint64_t* /*lba*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetSelfTestOperation(std::uint8_t* /*operation*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetSmartStatus(std::uint8_t* /*healthy*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::SetSmartEnabled(std::uint8_t /*enable*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::WriteUncorrectable(std::uint64_t /*lba*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetWearIndicator(std::uint32_t* /*percent*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::GetPowerMode(std::uint32_t* /*mode*/) {
  return ProtocolResult::Success;
}
ProtocolResult StorageProtocol::IdleImmediate() { return ProtocolResult::Success; }

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

std::uint32_t StorageProtocol::cachedSectorSize() const { return properties_->logicalSectorSize; }

ProtocolResult StorageProtocol::PredictFailureFallback(std::uint8_t* healthy) {
  bool failing = false;
  const ProtocolResult result = queryPredictedFailure(GetDeviceHandle(), &failing);
  if (succeeded(result)) {
    *healthy = failing ? 0 : 1;
  }
  return result;
}

}  // namespace ostria::storage
