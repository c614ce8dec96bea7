// ATA commands through IOCTL_ATA_PASS_THROUGH: one block for header and data, both ways, so that
// the caller's buffer needs no alignment and no driver can write past it.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#include "platform/windows/passthrough/win_device_control.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/hal/hal_ata_send.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_ATA_PASS_THROUGH == 0x4D02C);
static_assert(sizeof(ATA_PASS_THROUGH_EX) == 48);
static_assert(offsetof(ATA_PASS_THROUGH_EX, DataTransferLength) == 8);
static_assert(offsetof(ATA_PASS_THROUGH_EX, TimeOutValue) == 12);
static_assert(offsetof(ATA_PASS_THROUGH_EX, DataBufferOffset) == 24);
static_assert(offsetof(ATA_PASS_THROUGH_EX, PreviousTaskFile) == 32);
static_assert(offsetof(ATA_PASS_THROUGH_EX, CurrentTaskFile) == 40);

constexpr std::size_t kHeaderBytes = sizeof(ATA_PASS_THROUGH_EX);
constexpr std::size_t kStatusRegister = 6;
constexpr unsigned kFlagNoMultiple = 0x20;  // not named by every version of the SDK
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

USHORT flagsOf(const AtaCmd& command) {
  unsigned flags = ATA_FLAGS_DRDY_REQUIRED;
  if (IsLba48Command(command.command)) {
    flags |= ATA_FLAGS_48BIT_COMMAND;
  }
  const ata::Traits traits = ata::traitsOf(command.command, command.features);
  if (traits.has(ata::PageBlocks) && command.sectorCount > 1) {
    flags |= kFlagNoMultiple;
  }
  if (command.dataDirection == DataDirection::FromDevice) {
    flags |= ATA_FLAGS_DATA_IN;
  }
  if (command.dataDirection == DataDirection::ToDevice) {
    flags |= ATA_FLAGS_DATA_OUT;
  }
  return static_cast<USHORT>(flags);
}

ATA_PASS_THROUGH_EX headerOf(const AtaCmd& command) {
  ATA_PASS_THROUGH_EX header{};
  header.Length = kHeaderBytes;
  header.AtaFlags = flagsOf(command);
  header.DataTransferLength = static_cast<ULONG>(command.transferBytes);
  header.TimeOutValue = command.timeoutSeconds;
  header.DataBufferOffset = kHeaderBytes;
  const UCHAR current[] = {command.features, command.sectorCount, command.lbaLow, command.lbaMid,
                           command.lbaHigh,  command.device,      command.command};
  const UCHAR previous[] = {0, command.sectorCountPrevious, command.lbaLowPrevious,
                            command.lbaMidPrevious, command.lbaHighPrevious};
  std::copy(std::begin(current), std::end(current), header.CurrentTaskFile);
  std::copy(std::begin(previous), std::end(previous), header.PreviousTaskFile);
  return header;
}

void takeRegisters(const ATA_PASS_THROUGH_EX& header, AtaCmd& command) {
  command.features = header.CurrentTaskFile[0];
  command.sectorCount = header.CurrentTaskFile[1];
  command.lbaLow = header.CurrentTaskFile[2];
  command.lbaMid = header.CurrentTaskFile[3];
  command.lbaHigh = header.CurrentTaskFile[4];
  command.device = header.CurrentTaskFile[5];
  command.command = header.CurrentTaskFile[kStatusRegister];
}

class WinHalAtaSend final : public HalAtaSend {
 public:
  ProtocolResult Send(DeviceHandle handle, AtaCmd& command) override {
    const bool dataIn = command.dataDirection == DataDirection::FromDevice;
    const bool dataOut = command.dataDirection == DataDirection::ToDevice;
    const std::uint64_t asked = command.transferBytes;
    if (asked > kMostBytes || ((dataIn || dataOut) && asked != 0 && command.data == nullptr)) {
      return ProtocolResult::TransportFailure;
    }

    // A command without data takes no memory: SMART is put back by one when there may be none.
    std::array<std::uint8_t, kHeaderBytes + 1> bare{};
    std::vector<std::uint8_t> withData(
        asked == 0 ? 0 : static_cast<std::size_t>(asked) + kHeaderBytes + 1);
    std::uint8_t* const block = asked == 0 ? bare.data() : withData.data();
    ATA_PASS_THROUGH_EX header = headerOf(command);
    std::memcpy(block, &header, kHeaderBytes);
    if (dataOut && asked != 0) {
      std::memcpy(block + kHeaderBytes, command.data, asked);
    }

    const std::size_t bytes = kHeaderBytes + static_cast<std::size_t>(asked);
    const ControlAnswer answer =
        deviceControl(handle, IOCTL_ATA_PASS_THROUGH, block, bytes, block, bytes);
    if (answer.error == ERROR_ACCESS_DENIED) {
      return ProtocolResult::AccessDenied;
    }
    // Less than a header brings no registers: what stands there is what was sent.
    if (!answer || answer.returned < kHeaderBytes) {
      return ProtocolResult::TransportFailure;
    }
    std::memcpy(&header, block, kHeaderBytes);
    if (!dataIn || asked == 0) {
      takeRegisters(header, command);
      return ProtocolResult::Success;
    }

    const std::uint64_t offset = header.DataBufferOffset;
    const bool outside = offset < kHeaderBytes || offset >= answer.returned;
    // A driver that counts the data of a failed command without returning them must not hide the
    // drive's error behind one of its own.
    const bool failed = (header.CurrentTaskFile[kStatusRegister] & ata::StatusError) != 0;
    if (header.DataTransferLength == 0 || (failed && outside)) {
      takeRegisters(header, command);
      return ProtocolResult::NoDataReturned;
    }
    if (outside) {
      return ProtocolResult::TransportFailure;
    }
    const std::uint64_t came =
        std::min<std::uint64_t>({header.DataTransferLength, asked, answer.returned - offset});
    takeRegisters(header, command);
    std::memcpy(command.data, block + offset, came);
    command.transferBytes = came;
    return ProtocolResult::Success;
  }
};

}  // namespace

bool ataSendSpeaksSat() { return false; }

HalAtaSend& halAtaSend() {
  static WinHalAtaSend& send = *new WinHalAtaSend;
  return send;
}

}  // namespace ostria::storage
