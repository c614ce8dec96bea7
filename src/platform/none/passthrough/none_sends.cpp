// Pass-through of ATA, SCSI and NVMe commands: a system that has none reaches no drive. A port
// replaces the five classes by ones that fill the system's pass-through blocks.
#include "base/protocol_result.h"
#include "transport/hal/hal_ata_send.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_nvme_send.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/hal/nvme_namespace.h"
#include "transport/hal/predict_failure.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage {
namespace {

class NoAtaSend final : public HalAtaSend {
 public:
  ProtocolResult Send(DeviceHandle, AtaCmd&) override { return ProtocolResult::TransportFailure; }
};

class NoScsiSend final : public HalScsiSend {
 public:
  ProtocolResult Send(DeviceHandle, std::uint32_t, ScsiCmd&) override {
    return ProtocolResult::TransportFailure;
  }
};

/// The three NVMe sends differ in nothing but their names.
template <typename Interface>
class NoNvmeSend final : public Interface {
 public:
  ProtocolResult Send(DeviceHandle, std::uint32_t, NvmeCmd&) override {
    return ProtocolResult::Failure;
  }
};

}  // namespace

bool ataSendSpeaksSat() { return false; }

HalAtaSend& halAtaSend() {
  static auto* const kSend = new NoAtaSend;
  return *kSend;
}

HalScsiSend& halScsiSend() {
  static auto* const kSend = new NoScsiSend;
  return *kSend;
}

HalNvmeSend& halNvmeSend() {
  static auto* const kSend = new NoNvmeSend<HalNvmeSend>;
  return *kSend;
}

HalNvmeIntelSend& halNvmeIntelSend() {
  static auto* const kSend = new NoNvmeSend<HalNvmeIntelSend>;
  return *kSend;
}

HalNvmeMiniIntelSend& halNvmeMiniIntelSend() {
  static auto* const kSend = new NoNvmeSend<HalNvmeMiniIntelSend>;
  return *kSend;
}

std::uint32_t nvmeNamespaceOf(DeviceHandle) { return 0; }

bool probeNvmeSystemCall(DeviceHandle) { return false; }

std::unique_ptr<StorageProtocol> makeNvmeSystemCallProtocol(DeviceHandle, const std::string&) {
  return nullptr;
}

ProtocolResult queryPredictedFailure(DeviceHandle, bool*) {
  return ProtocolResult::TransportFailure;
}

}  // namespace ostria::storage
