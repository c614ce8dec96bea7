// NVMe over the kernel's own pass-through, which takes the place of the vendors' drivers.

#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/read_only.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_nvme_send.h"
#include "transport/hal/nvme_namespace.h"
#include "transport/nvme/nvme_cmd.h"

namespace ostria::storage {
namespace {

/// The kernel's native pass-through. The descriptor names the controller, so `pathId` plays no
/// part.
class LinuxHalNvmeIntelSend final : public HalNvmeIntelSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t /*extra*/, NvmeCmd& command) override {
    if (command.transferBytes > 0xFFFFFFFFu ||
        (command.transferBytes != 0 && command.data == nullptr)) {
      return ProtocolResult::Failure;
    }
    if (isReadOnly() && changesMedium(command.opcode, command.ioQueue != 0)) {
      return ProtocolResult::Failure;
    }
    // By the opcode the kernel knows which way the data go. Data never go to the device here.
    if (command.transferBytes != 0 && (command.opcode & 1) != 0) {
      return ProtocolResult::Failure;
    }
    // A block of our own frees the caller from any alignment, and stays untouched on a failure.
    std::vector<std::uint8_t> block(static_cast<std::size_t>(command.transferBytes));
    nvme_passthru_cmd packed = {};
    packed.opcode = static_cast<std::uint8_t>(command.opcode);
    packed.nsid = command.namespaceId;
    packed.cdw2 = static_cast<std::uint32_t>(command.reserved);
    packed.cdw3 = static_cast<std::uint32_t>(command.reserved >> 32);
    packed.addr = reinterpret_cast<std::uintptr_t>(block.data());
    packed.data_len = static_cast<std::uint32_t>(block.size());
    packed.cdw10 = command.cdw10;
    packed.cdw11 = command.cdw11;
    packed.cdw12 = command.cdw12;
    packed.cdw13 = command.cdw13;
    packed.cdw14 = command.cdw14;
    packed.cdw15 = command.cdw15;
    packed.timeout_ms = std::min(command.timeoutSeconds, 0xFFFFFFFFu / 1000) * 1000;

    const auto request = command.ioQueue != 0 ? NVME_IOCTL_IO_CMD : NVME_IOCTL_ADMIN_CMD;
    const int status = ::ioctl(descriptorOf(handle), request, &packed);
    if (status < 0) {
      return ProtocolResult::Failure;
    }
    // A command without data counts as passed on, whatever its completion status. One with data and
    // an error has brought none: zeros instead would pass for what the drive says.
    if (status > 0 && !block.empty()) {
      return ProtocolResult::Failure;
    }
    if (!block.empty()) {
      std::memcpy(command.data, block.data(), block.size());
    }
    return ProtocolResult::Success;
  }
};

class LinuxHalNvmeSend final : public HalNvmeSend {
 public:
  ProtocolResult Send(DeviceHandle, std::uint32_t, NvmeCmd&) override {
    return ProtocolResult::NoPath;
  }
};

class LinuxHalNvmeMiniIntelSend final : public HalNvmeMiniIntelSend {
 public:
  ProtocolResult Send(DeviceHandle, std::uint32_t, NvmeCmd&) override {
    return ProtocolResult::Failure;
  }
};

}  // namespace

// The node of a controller gives none, and neither does a disk of another kind.
std::uint32_t nvmeNamespaceOf(DeviceHandle handle) {
  const int id = ::ioctl(descriptorOf(handle), NVME_IOCTL_ID);
  return id > 0 ? static_cast<std::uint32_t>(id) : 0;
}

HalNvmeIntelSend& halNvmeIntelSend() {
  static auto* const kSend = new LinuxHalNvmeIntelSend;
  return *kSend;
}

HalNvmeSend& halNvmeSend() {
  static auto* const kSend = new LinuxHalNvmeSend;
  return *kSend;
}

HalNvmeMiniIntelSend& halNvmeMiniIntelSend() {
  static auto* const kSend = new LinuxHalNvmeMiniIntelSend;
  return *kSend;
}

}  // namespace ostria::storage
