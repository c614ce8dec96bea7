// SCSI commands through IOCTL_SCSI_PASS_THROUGH: header, sense and data in one block. A status
// other than GOOD is the device's answer, no failure of the send.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "platform/windows/passthrough/win_device_control.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_SCSI_PASS_THROUGH == 0x4D004);
static_assert(sizeof(SCSI_PASS_THROUGH) == 56);
static_assert(offsetof(SCSI_PASS_THROUGH, DataTransferLength) == 12);
static_assert(offsetof(SCSI_PASS_THROUGH, DataBufferOffset) == 24);
static_assert(offsetof(SCSI_PASS_THROUGH, SenseInfoOffset) == 32);
static_assert(offsetof(SCSI_PASS_THROUGH, Cdb) == 36);

constexpr std::size_t kHeaderBytes = sizeof(SCSI_PASS_THROUGH);
constexpr std::size_t kSenseBytes = 32;
constexpr std::size_t kDataOffset = kHeaderBytes + kSenseBytes;
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

UCHAR directionCode(DataDirection direction) {
  switch (direction) {
    case DataDirection::FromDevice:
      return SCSI_IOCTL_DATA_IN;
    case DataDirection::ToDevice:
      return SCSI_IOCTL_DATA_OUT;
    case DataDirection::None:
      break;
  }
  return SCSI_IOCTL_DATA_UNSPECIFIED;
}

SCSI_PASS_THROUGH headerOf(const ScsiCmd& command) {
  SCSI_PASS_THROUGH header{};
  header.Length = kHeaderBytes;
  header.CdbLength = command.cdbLength;
  header.SenseInfoLength = kSenseBytes;
  header.DataIn = directionCode(command.direction);
  header.DataTransferLength = static_cast<ULONG>(command.transferBytes);
  header.TimeOutValue = command.timeoutSeconds;
  header.DataBufferOffset = kDataOffset;
  header.SenseInfoOffset = kHeaderBytes;
  std::copy_n(command.cdb.begin(), command.cdbLength, header.Cdb);
  return header;
}

class WinHalScsiSend final : public HalScsiSend {
 public:
  ProtocolResult Send(DeviceHandle handle, std::uint32_t extra, ScsiCmd& command) override {
    const bool dataIn = command.direction == DataDirection::FromDevice;
    const bool dataOut = command.direction == DataDirection::ToDevice;
    const std::uint64_t asked = command.transferBytes;
    if (asked > kMostBytes || extra > kMostBytes || command.cdbLength > command.cdb.size() ||
        ((dataIn || dataOut) && asked != 0 && command.data == nullptr)) {
      return ProtocolResult::TransportFailure;
    }

    std::vector<std::uint8_t> block(static_cast<std::size_t>(asked + extra) + kDataOffset);
    SCSI_PASS_THROUGH header = headerOf(command);
    std::memcpy(block.data(), &header, kHeaderBytes);
    if (dataOut && asked != 0) {
      std::memcpy(block.data() + kDataOffset, command.data, asked);
    }

    const std::size_t bytes = kDataOffset + static_cast<std::size_t>(asked);
    const ControlAnswer answer =
        deviceControl(handle, IOCTL_SCSI_PASS_THROUGH, block.data(), bytes, block.data(), bytes);
    if (!answer || answer.returned < kHeaderBytes) {
      return ProtocolResult::TransportFailure;
    }
    std::memcpy(&header, block.data(), kHeaderBytes);
    const std::uint64_t senseOffset = header.SenseInfoOffset;
    if (senseOffset < kHeaderBytes || senseOffset > kDataOffset - kSenseBytes) {
      return ProtocolResult::TransportFailure;
    }

    std::uint64_t moved = std::min<std::uint64_t>(header.DataTransferLength, asked);
    if (dataIn && moved != 0) {
      const std::uint64_t offset = header.DataBufferOffset;
      if (offset < kDataOffset || offset >= bytes) {
        return ProtocolResult::TransportFailure;
      }
      // Beyond what the driver returned stand the zeros of the block, not the device's data.
      moved =
          std::min<std::uint64_t>(moved, answer.returned > offset ? answer.returned - offset : 0);
      std::memcpy(command.data, block.data() + offset, moved);
    }
    command.transferBytes = moved;
    command.scsiStatus = header.ScsiStatus;
    command.senseLength = header.SenseInfoLength;
    std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(senseOffset), kSenseBytes,
                command.sense.begin());
    return ProtocolResult::Success;
  }
};

}  // namespace

HalScsiSend& halScsiSend() {
  static WinHalScsiSend& send = *new WinHalScsiSend;
  return send;
}

}  // namespace ostria::storage
