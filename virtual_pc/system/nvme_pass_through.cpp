// Three ways to an NVMe controller: two vendor signatures at the port, and the storage queries of
// the system's own driver.
#include "virtual_pc/system/nvme_pass_through.h"

#include <winerror.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "base/byte_order.h"
#include "virtual_pc/system/raid/member_drives.h"

namespace ostria::virtual_pc {

namespace {

using storage::loadLe32;
using storage::storeLe16;
using storage::storeLe32;

constexpr std::size_t kControlCodeAt = 16;
constexpr std::size_t kReturnCodeAt = 20;
constexpr std::size_t kLongestTransfer = 1u << 20;

/// A command as it lies in a block, without its data pointers.
NvmeExchange readCommand(const std::uint8_t* image, bool admin, std::size_t inBytes) {
  NvmeExchange exchange;
  exchange.admin = admin;
  exchange.opcode = image[0];
  exchange.namespaceId = loadLe32(image + 4);
  for (std::size_t i = 0; i < exchange.cdw.size(); ++i) {
    exchange.cdw[i] = loadLe32(image + 40 + 4 * i);
  }
  exchange.direction = inBytes != 0 ? DataDirection::In : DataDirection::None;
  exchange.data.resize(inBytes);
  return exchange;
}

/// Requests with the signature "IntelNvm": the command and its data in one block, the drive by
/// path.
class IntelPort : public MiniportHandler {
 public:
  /// Sends a command that may take so many microseconds, and gives the system's error code.
  using Send = std::function<std::uint32_t(NvmeExchange&, std::uint64_t)>;

  IntelPort(Send send, const NvmeDescription& description)
      : send_(std::move(send)),
        pathId_(description.pathId),
        claimedOffset_(description.dataOffset) {}

  std::string_view signature() const override { return "IntelNvm"; }
  bool accepts(std::span<const std::uint8_t> block) const override {
    return block.size() > kPathAt && block[kPathAt] == pathId_;
  }

  std::uint32_t handle(std::span<std::uint8_t> block, std::uint64_t* duration,
                       std::size_t* /*returned*/) override {
    if (block.size() < kDataAt || loadLe32(&block[kControlCodeAt]) != 0xF0002808 ||
        block[28] != 1) {
      return ERROR_INVALID_PARAMETER;
    }
    const std::uint32_t offset = loadLe32(&block[kDataOffsetAt]);
    const std::uint32_t bytes = loadLe32(&block[kDataLengthAt]);
    if (offset < kDataAt || bytes > kLongestTransfer || offset > block.size() ||
        bytes > block.size() - offset) {
      return ERROR_INVALID_PARAMETER;
    }
    NvmeExchange exchange = readCommand(&block[kCommandAt], block[kQueueAt] == 0, bytes);
    const std::uint32_t error = send_(exchange, loadLe32(&block[12]) * kMicrosecondsPerSecond);
    *duration = exchange.durationMicroseconds;
    if (error) {
      return error;
    }
    std::copy_n(exchange.data.begin(), exchange.transferred, block.begin() + offset);
    if (claimedOffset_) {
      storeLe32(&block[kDataOffsetAt], *claimedOffset_);
    }
    storeLe32(&block[kReturnCodeAt], 0);
    return ERROR_SUCCESS;
  }

 private:
  static constexpr std::size_t kPathAt = 29;
  static constexpr std::size_t kCommandAt = 32;
  static constexpr std::size_t kQueueAt = 96;
  static constexpr std::size_t kDataOffsetAt = 116;
  static constexpr std::size_t kDataLengthAt = 120;
  static constexpr std::size_t kDataAt = 168;

  Send send_;
  std::uint8_t pathId_;
  std::optional<std::uint32_t> claimedOffset_;
};

/// Requests with the signature "NvmeMini": as the first form, for one drive and 4096 bytes.
class MiniPort : public MiniportHandler {
 public:
  explicit MiniPort(DiskObject& disk) : disk_(disk) {}

  std::string_view signature() const override { return "NvmeMini"; }

  std::uint32_t handle(std::span<std::uint8_t> block, std::uint64_t* duration,
                       std::size_t* /*returned*/) override {
    if (block.size() < kDataAt || loadLe32(&block[kControlCodeAt]) != 0xE0002000) {
      return ERROR_INVALID_PARAMETER;
    }
    const std::uint32_t bytes = loadLe32(&block[kDataLengthAt]);
    if (bytes > 4096 || bytes > block.size() - kDataAt || loadLe32(&block[kDirectionAt]) != 2) {
      return ERROR_INVALID_PARAMETER;
    }
    NvmeExchange exchange = readCommand(&block[kCommandAt], loadLe32(&block[kQueueAt]) == 0, bytes);
    const std::uint32_t error = disk_.send(exchange, loadLe32(&block[12]) * kMicrosecondsPerSecond);
    *duration = exchange.durationMicroseconds;
    if (error) {
      return error;
    }
    std::copy_n(exchange.data.begin(), exchange.transferred, block.begin() + kDataAt);
    storeLe32(&block[kCompletionAt], exchange.result);
    storeLe16(&block[kCompletionAt + 14],
              static_cast<std::uint16_t>((exchange.statusCode << 1) | (exchange.statusType << 9)));
    storeLe32(&block[kReturnCodeAt], 0);
    return ERROR_SUCCESS;
  }

 private:
  static constexpr std::size_t kCommandAt = 52;
  static constexpr std::size_t kCompletionAt = 116;
  static constexpr std::size_t kDirectionAt = 132;
  static constexpr std::size_t kQueueAt = 136;
  static constexpr std::size_t kDataLengthAt = 140;
  static constexpr std::size_t kDataAt = 152;

  DiskObject& disk_;
};

constexpr std::size_t kSpecificDataAt = 8;  // STORAGE_PROTOCOL_SPECIFIC_DATA in either block
constexpr std::size_t kDescriptorBytes = 48;
constexpr std::uint64_t kQueryTimeout = 30 * kMicrosecondsPerSecond;

void protocolQuery(DiskObject& disk, IoRequest& request,
                   std::optional<std::uint32_t> claimedOffset) {
  const std::vector<std::uint8_t>& in = request.input;
  if (in.size() < kDescriptorBytes) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  const auto field = [&](std::size_t index) {
    return loadLe32(in.data() + kSpecificDataAt + 4 * index);
  };
  const std::uint32_t type = field(1);
  const std::uint32_t value = field(2);
  const std::uint32_t offset = field(4);
  const std::uint32_t bytes = field(5);
  // Identify data belong to the controller, log pages are asked of the disk.
  const bool ofAdapter = loadLe32(in.data()) == StorageAdapterProtocolSpecificProperty;
  if (ofAdapter != (type == NVMeDataTypeIdentify)) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  if (field(0) != ProtocolTypeNvme || offset < kDescriptorBytes - kSpecificDataAt || bytes == 0 ||
      bytes > kLongestTransfer || bytes % 4 != 0 ||
      request.output.size() < kSpecificDataAt + std::uint64_t{offset} + bytes) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }

  NvmeExchange exchange;
  exchange.direction = DataDirection::In;
  exchange.data.resize(bytes);
  if (type == NVMeDataTypeIdentify) {
    exchange.opcode = 0x06;
    exchange.namespaceId = field(3);
    exchange.cdw[0] = value;
  } else if (type == NVMeDataTypeLogPage) {
    exchange.opcode = 0x02;
    exchange.namespaceId = 0xFFFFFFFF;
    exchange.cdw[0] = (value & 0xFF) | ((bytes / 4 - 1) << 16);
    exchange.cdw[1] = ((bytes / 4 - 1) >> 16) | (field(8) << 16);  // log-specific identifier
    exchange.cdw[2] = field(3);
  } else {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  const std::uint32_t error = disk.send(exchange, kQueryTimeout);
  request.durationMicroseconds = exchange.durationMicroseconds;
  if (error) {
    return request.fail(error);
  }
  if (exchange.statusType != 0 || exchange.statusCode != 0) {
    return request.fail(ERROR_IO_DEVICE);
  }

  std::copy_n(in.begin(), kDescriptorBytes, request.output.begin());
  storeLe32(&request.output[0], kDescriptorBytes);
  storeLe32(&request.output[4], kDescriptorBytes);
  if (claimedOffset) {
    storeLe32(&request.output[kSpecificDataAt + 16], *claimedOffset);
  }
  storeLe32(&request.output[kSpecificDataAt + 20],
            static_cast<std::uint32_t>(exchange.transferred));
  storeLe32(&request.output[kSpecificDataAt + 24], exchange.result);
  const std::size_t dataAt = kSpecificDataAt + offset;
  std::copy_n(exchange.data.begin(), exchange.transferred,
              request.output.begin() + static_cast<std::ptrdiff_t>(dataAt));
  request.returned = dataAt + exchange.transferred;
}

// Offsets in STORAGE_PROTOCOL_COMMAND.
constexpr std::size_t kCommandRecordBytes = 84;
constexpr std::size_t kCommandAt = 80;
constexpr std::size_t kCommandBytes = 64;

void protocolCommand(DiskObject& disk, IoRequest& request) {
  const std::vector<std::uint8_t>& in = request.input;
  if (in.size() < kCommandAt + kCommandBytes ||
      request.output.size() < kCommandAt + kCommandBytes || loadLe32(&in[0]) != 1 ||
      loadLe32(&in[4]) != kCommandRecordBytes || loadLe32(&in[8]) != ProtocolTypeNvme ||
      loadLe32(&in[24]) != kCommandBytes) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  constexpr std::uint32_t kAdapterRequest = 0x80000000;
  if ((loadLe32(&in[12]) & kAdapterRequest) == 0) {
    return request.fail(ERROR_INVALID_PARAMETER);  // admin commands are the adapter's
  }
  // The system lets through the commands that change nothing of the data.
  if (loadLe32(&in[56]) != 1) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  const std::uint32_t out = loadLe32(&in[32]);
  const std::uint32_t bytes = loadLe32(&in[36]);
  const std::uint32_t at = loadLe32(&in[52]);
  if (out != 0 || bytes > kLongestTransfer || (bytes != 0 && at < kCommandAt + kCommandBytes) ||
      std::uint64_t{at} + bytes > request.output.size()) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }

  NvmeExchange exchange = readCommand(&in[kCommandAt], true, bytes);
  const std::uint32_t error = disk.send(exchange, loadLe32(&in[40]) * kMicrosecondsPerSecond);
  request.durationMicroseconds = exchange.durationMicroseconds;
  if (error) {
    return request.fail(error);
  }
  std::copy_n(in.begin(), kCommandAt + kCommandBytes, request.output.begin());
  const bool good = exchange.statusType == 0 && exchange.statusCode == 0;
  storeLe32(&request.output[16], good ? 1 : 2);  // STORAGE_PROTOCOL_STATUS_SUCCESS or _ERROR
  storeLe32(&request.output[20], exchange.statusCode | (std::uint32_t{exchange.statusType} << 8));
  storeLe32(&request.output[64], exchange.result);
  std::copy_n(exchange.data.begin(), exchange.transferred,
              request.output.begin() + static_cast<std::ptrdiff_t>(at));
  request.returned = request.output.size();
}

bool answerStorageQuery(DiskObject& disk, IoRequest& request,
                        std::optional<std::uint32_t> claimedOffset) {
  if (request.code == IOCTL_STORAGE_PROTOCOL_COMMAND) {
    protocolCommand(disk, request);
    return true;
  }
  if (request.code != IOCTL_STORAGE_QUERY_PROPERTY || request.input.size() < 8) {
    return false;
  }
  const std::uint32_t property = loadLe32(request.input.data());
  if (property != StorageAdapterProtocolSpecificProperty &&
      property != StorageDeviceProtocolSpecificProperty) {
    return false;
  }
  protocolQuery(disk, request, claimedOffset);
  return true;
}

}  // namespace

void addNvmePassThrough(DiskObject& disk, PortObject& port, const NvmeDescription& description) {
  const auto has = [&](NvmePassThroughKind kind) {
    return description.passThrough == kind || description.passThrough == NvmePassThroughKind::All;
  };
  if (has(NvmePassThroughKind::IntelPort)) {
    disk.setPathId(description.pathId);
    port.addMiniport(std::make_unique<IntelPort>(
        [&disk](NvmeExchange& exchange, std::uint64_t timeout) {
          return disk.send(exchange, timeout);
        },
        description));
  }
  if (has(NvmePassThroughKind::MiniPort)) {
    port.addMiniport(std::make_unique<MiniPort>(disk));
  }
  if (has(NvmePassThroughKind::StorageQuery)) {
    disk.addHandler([claimed = description.dataOffset](DiskObject& asked, IoRequest& request) {
      return answerStorageQuery(asked, request, claimed);
    });
  }
}

void addNvmeMember(Machine& machine, Drive& drive, PortObject& port,
                   const NvmeDescription& description) {
  port.addMiniport(std::make_unique<IntelPort>(
      [&machine, &drive](NvmeExchange& exchange, std::uint64_t timeout) -> std::uint32_t {
        switch (sendToMember(machine, *drive.nvme, exchange, timeout)) {
          case DriveReply::Answered:
            return ERROR_SUCCESS;
          case DriveReply::SystemError:
            return exchange.transportError;
          case DriveReply::Unreached:
            break;
        }
        return ERROR_DEVICE_NOT_CONNECTED;
      },
      description));
}

}  // namespace ostria::virtual_pc
