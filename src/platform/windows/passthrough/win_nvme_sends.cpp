#include <windows.h>
// The pass-through headers need windows.h first.
#include <ntddscsi.h>

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
#include "transport/nvme/nvme_cmd.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_SCSI_MINIPORT == 0x4D008);
static_assert(sizeof(SRB_IO_CONTROL) == 28);

using Block = std::vector<std::uint8_t>;

// Both blocks begin with an SRB_IO_CONTROL.
constexpr std::size_t SrbBytes = sizeof(SRB_IO_CONTROL);
constexpr std::size_t ReturnCodeAt = offsetof(SRB_IO_CONTROL, ReturnCode);

void putSrb(Block& block, const char (&signature)[9], std::uint32_t timeout, std::uint32_t code) {
  SRB_IO_CONTROL srb{};
  srb.HeaderLength = SrbBytes;
  std::copy_n(signature, sizeof srb.Signature, srb.Signature);
  srb.Timeout = timeout;
  srb.ControlCode = code;
  srb.Length = static_cast<ULONG>(block.size() - SrbBytes);
  std::memcpy(block.data(), &srb, SrbBytes);
}

/// Sends the block. @return bytes that came back, 0 on a failure or when the driver refused
std::size_t sendBlock(DeviceHandle handle, Block& block) {
  const ControlAnswer answer = deviceControl(handle, IOCTL_SCSI_MINIPORT, block.data(),
                                             block.size(), block.data(), block.size());
  if (!answer || answer.returned < SrbBytes || loadLe32(&block[ReturnCodeAt]) != 0) return 0;
  return answer.returned;
}

bool copyData(const Block& block, std::size_t returned, std::uint64_t offset, NvmeCmd& command) {
  if (command.transferBytes == 0) return true;
  if (offset > returned || command.transferBytes > returned - offset) return false;
  if (command.data == nullptr) return false;
  std::memcpy(command.data, block.data() + offset, static_cast<std::size_t>(command.transferBytes));
  return true;
}

// Places in the command image, the same as in a submission queue entry.
constexpr std::size_t ImageNamespace = 4;
constexpr std::size_t ImageMetadata = 16;
constexpr std::size_t ImageDwords = 40;

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
    if (command.transferBytes > MostBytes) return ProtocolResult::Failure;
    Block block(static_cast<std::size_t>(command.transferBytes) + DataBytesAt);
    putSrb(block, "IntelNvm", command.timeoutSeconds, 0xF0002808);
    block[28] = 1;  // version
    block[29] = command.pathId;
    copyImage(block, 32, command, 0, 1);
    copyImage(block, 36, command, ImageNamespace, 4);
    copyImage(block, 48, command, ImageMetadata, 8);
    copyImage(block, 72, command, ImageDwords, 24);
    block[96] = command.ioQueue;
    storeLe32(&block[DataOffsetAt], DataBytesAt);
    storeLe32(&block[120], static_cast<std::uint32_t>(command.transferBytes));

    const std::size_t returned = sendBlock(handle, block);
    if (returned == 0) return ProtocolResult::Failure;
    if (command.transferBytes == 0) return ProtocolResult::Success;
    if (returned < DataBytesAt) return ProtocolResult::Failure;
    const std::uint32_t offset = loadLe32(&block[DataOffsetAt]);
    if (offset < SrbBytes || !copyData(block, returned, offset, command))
      return ProtocolResult::Failure;
    return ProtocolResult::Success;
  }

 private:
  static constexpr std::uint64_t MostBytes = 0x7FFFFFFF;
  static constexpr std::size_t DataOffsetAt = 116;
  static constexpr std::size_t DataBytesAt = 168;
};

class WinNvmeMiniIntelSend final : public HalNvmeMiniIntelSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t, NvmeCmd& command) override {
    if (command.transferBytes > DataBytes) return ProtocolResult::Failure;
    Block block(DataAt + DataBytes);
    putSrb(block, "NvmeMini", 40, 0xE0002000);
    copyImage(block, CommandAt, command, 0, 1);
    copyImage(block, CommandAt + ImageNamespace, command, ImageNamespace, 4);
    copyImage(block, CommandAt + ImageMetadata, command, ImageMetadata,
              NvmeCmd::imageBytes - ImageMetadata);
    storeLe32(&block[132], 2);  // device to host; the queue after it is 0, the admin queue
    storeLe32(&block[140], DataBytes);
    storeLe32(&block[148], static_cast<std::uint32_t>(block.size()));

    const std::size_t returned = sendBlock(handle, block);
    if (returned == 0 || !copyData(block, returned, DataAt, command))
      return ProtocolResult::Failure;
    return ProtocolResult::Success;
  }

 private:
  static constexpr std::size_t CommandAt = 52;
  static constexpr std::size_t DataAt = 152;
  static constexpr std::size_t DataBytes = 4096;
};

}  // namespace

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
