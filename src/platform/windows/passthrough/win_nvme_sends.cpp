// The two vendor pass-throughs of NVMe miniport drivers, each a block behind an SRB_IO_CONTROL.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#include "base/byte_order.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_nvme_send.h"
#include "transport/hal/nvme_namespace.h"
#include "transport/nvme/nvme_cmd.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_SCSI_MINIPORT == 0x4D008);
static_assert(sizeof(SRB_IO_CONTROL) == 28);

using Block = std::vector<std::uint8_t>;

// Both blocks begin with an SRB_IO_CONTROL.
constexpr std::size_t kSrbBytes = sizeof(SRB_IO_CONTROL);
constexpr std::size_t kReturnCodeAt = offsetof(SRB_IO_CONTROL, ReturnCode);

void putSrb(Block& block, const char (&signature)[9], std::uint32_t timeout, std::uint32_t code) {
  SRB_IO_CONTROL srb{};
  srb.HeaderLength = kSrbBytes;
  std::copy_n(signature, sizeof srb.Signature, srb.Signature);
  srb.Timeout = timeout;
  srb.ControlCode = code;
  srb.Length = static_cast<ULONG>(block.size() - kSrbBytes);
  std::memcpy(block.data(), &srb, kSrbBytes);
}

/// Sends the block. @return bytes that came back, 0 on a failure or when the driver refused
std::size_t sendBlock(DeviceHandle handle, Block& block) {
  const ControlAnswer answer = deviceControl(handle, IOCTL_SCSI_MINIPORT, block.data(),
                                             block.size(), block.data(), block.size());
  if (!answer || answer.returned < kSrbBytes || loadLe32(&block[kReturnCodeAt]) != 0) {
    return 0;
  }
  return answer.returned;
}

bool copyData(const Block& block, std::size_t returned, std::uint64_t offset, NvmeCmd& command) {
  if (command.transferBytes == 0) {
    return true;
  }
  if (offset > returned || command.transferBytes > returned - offset) {
    return false;
  }
  if (command.data == nullptr) {
    return false;
  }
  std::memcpy(command.data, block.data() + offset, static_cast<std::size_t>(command.transferBytes));
  return true;
}

// Offsets in the command image, the same as in a submission queue entry.
constexpr std::size_t kImageNamespace = 4;
constexpr std::size_t kImageMetadata = 16;
constexpr std::size_t kImageDwords = 40;

void copyImage(Block& block, std::size_t at, const NvmeCmd& command, std::size_t from,
               std::size_t bytes) {
  const auto image = command.image();
  std::memcpy(block.data() + at, image.data() + from, bytes);
}

class WinHalNvmeSend final : public HalNvmeSend {
 public:
  ProtocolResult Send(DeviceHandle, std::uint32_t, NvmeCmd&) override {
    return ProtocolResult::NoPath;
  }
};

class WinNvmeIntelSend final : public HalNvmeIntelSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t, NvmeCmd& command) override {
    if (command.transferBytes > kMostBytes) {
      return ProtocolResult::Failure;
    }
    Block block(static_cast<std::size_t>(command.transferBytes) + kDataBytesAt);
    putSrb(block, "IntelNvm", command.timeoutSeconds, 0xF0002808);
    block[28] = 1;  // version
    block[29] = command.pathId;
    copyImage(block, 32, command, 0, 1);
    copyImage(block, 36, command, kImageNamespace, 4);
    copyImage(block, 48, command, kImageMetadata, 8);
    copyImage(block, 72, command, kImageDwords, 24);
    block[96] = command.ioQueue;
    storeLe32(&block[kDataOffsetAt], kDataBytesAt);
    storeLe32(&block[120], static_cast<std::uint32_t>(command.transferBytes));

    const std::size_t returned = sendBlock(handle, block);
    if (returned == 0) {
      return ProtocolResult::Failure;
    }
    if (command.transferBytes == 0) {
      return ProtocolResult::Success;
    }
    if (returned < kDataBytesAt) {
      return ProtocolResult::Failure;
    }
    const std::uint32_t offset = loadLe32(&block[kDataOffsetAt]);
    if (offset < kSrbBytes || !copyData(block, returned, offset, command)) {
      return ProtocolResult::Failure;
    }
    return ProtocolResult::Success;
  }

 private:
  static constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;
  static constexpr std::size_t kDataOffsetAt = 116;
  static constexpr std::size_t kDataBytesAt = 168;
};

class WinNvmeMiniIntelSend final : public HalNvmeMiniIntelSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t, NvmeCmd& command) override {
    // Only the admin queue is open here, where the opcode of a read is that of another command.
    if (command.transferBytes > kDataBytes || command.ioQueue != 0) {
      return ProtocolResult::Failure;
    }
    Block block(kDataAt + kDataBytes);
    putSrb(block, "NvmeMini", 40, 0xE0002000);
    copyImage(block, kCommandAt, command, 0, 1);
    copyImage(block, kCommandAt + kImageNamespace, command, kImageNamespace, 4);
    copyImage(block, kCommandAt + kImageMetadata, command, kImageMetadata,
              NvmeCmd::kImageBytes - kImageMetadata);
    storeLe32(&block[132], 2);  // device to host; the queue after it is 0, the admin queue
    storeLe32(&block[140], kDataBytes);
    storeLe32(&block[148], static_cast<std::uint32_t>(block.size()));

    const std::size_t returned = sendBlock(handle, block);
    // The status lies above the phase bit, in the last word of the completion entry.
    if (returned < kStatusAt + 2 || (loadLe16(&block[kStatusAt]) >> 1) != 0 ||
        !copyData(block, returned, kDataAt, command)) {
      return ProtocolResult::Failure;
    }
    return ProtocolResult::Success;
  }

 private:
  static constexpr std::size_t kCommandAt = 52;
  static constexpr std::size_t kStatusAt = 130;
  static constexpr std::size_t kDataAt = 152;
  static constexpr std::size_t kDataBytes = 4096;
};

}  // namespace

// The handle is the controller's port: a drive is addressed by its path.
std::uint32_t nvmeNamespaceOf(DeviceHandle /*handle*/) { return 0; }

HalNvmeSend& halNvmeSend() {
  static WinHalNvmeSend& send = *new WinHalNvmeSend;
  return send;
}

HalNvmeIntelSend& halNvmeIntelSend() {
  static WinNvmeIntelSend& send = *new WinNvmeIntelSend;
  return send;
}

HalNvmeMiniIntelSend& halNvmeMiniIntelSend() {
  static WinNvmeMiniIntelSend& send = *new WinNvmeMiniIntelSend;
  return send;
}

}  // namespace ostria::storage
