// NVMe over the protocol-specific queries of the Windows storage stack. Lengths and offsets in an
// answer are the driver's word and are checked.

#include "platform/windows/passthrough/win_nvme_system_call_protocol.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <tuple>
#include <vector>

#include "base/all_zero.h"
#include "base/byte_order.h"
#include "base/sector_size.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "platform/windows/passthrough/win_nvme_records.h"
#include "transport/command_recorder.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kAdapterProtocolProperty = 49;
constexpr std::uint32_t kDeviceProtocolProperty = 50;
constexpr std::uint32_t kProtocolTypeNvme = 3;
constexpr std::uint32_t kDataTypeIdentify = 1;
constexpr std::uint32_t kDataTypeLogPage = 2;
constexpr std::uint32_t kIdentifyController = 1;

constexpr std::uint32_t kCommandRecordLength = 84;  // sizeof(STORAGE_PROTOCOL_COMMAND)
constexpr std::uint32_t kAdapterRequest = 0x80000000;
constexpr std::uint32_t kNvmeAdminCommand = 1;
constexpr std::uint32_t kReturnSuccess = 1;  // STORAGE_PROTOCOL_STATUS_SUCCESS; 0 is not filled in
constexpr std::uint32_t kErrorInfoBytes = 64;
constexpr std::uint32_t kCommandDataOffset = sizeof(ProtocolCommandRecord) + kErrorInfoBytes;
constexpr std::uint64_t kSmallestCommandData = 4096;
constexpr std::uint64_t kLargestCommandData = 0x7FFFFFFF;
static_assert(kCommandDataOffset == 208);

constexpr std::uint8_t kSelfTestAbortCode = 15;

// One block for the question and the answer.
ControlAnswer exchange(DeviceHandle handle, DWORD code, std::vector<std::uint8_t>& block) {
  return deviceControl(handle, code, block.data(), block.size(), block.data(), block.size());
}

struct ProtocolDataRequest {
  std::uint32_t propertyId;
  std::uint32_t dataType;
  std::uint32_t value;
  std::uint32_t subValue;
  std::uint32_t bytes;
  std::uint32_t identifier = 0;  ///< log-specific identifier
};

// The answer's block, as far as it was filled; empty when the call failed or brought nothing.
std::vector<std::uint8_t> queryProtocolData(DeviceHandle handle,
                                            const ProtocolDataRequest& request) {
  ProtocolPropertyQuery query{};
  query.propertyId = request.propertyId;
  query.data.protocolType = kProtocolTypeNvme;
  query.data.dataType = request.dataType;
  query.data.requestValue = request.value;
  query.data.requestSubValue = request.subValue;
  query.data.dataOffset = sizeof(ProtocolSpecificData);
  query.data.dataLength = request.bytes;
  query.data.requestSubValue3 = request.identifier;

  std::vector<std::uint8_t> block(sizeof query + request.bytes);
  std::memcpy(block.data(), &query, sizeof query);
  const ControlAnswer answer = exchange(handle, IOCTL_STORAGE_QUERY_PROPERTY, block);
  block.resize(answer ? answer.returned : 0);
  return block;
}

// The query as the command that the driver sends for it.
void note(NvmeCmd& command, ProtocolResult result) {
  if (CommandRecorder* const recorder = commandRecorder()) {
    recorder->noteNvme(command, result);
  }
}

std::optional<NvmeIdentifyData> identify(DeviceHandle handle) {
  const std::vector<std::uint8_t> block = queryProtocolData(
      handle,
      {kAdapterProtocolProperty, kDataTypeIdentify, kIdentifyController, 0, kNvmeIdentifyBytes});
  NvmeIdentifyData data{};
  if (block.size() > sizeof(ProtocolDataDescriptor)) {
    std::copy(block.begin() + sizeof(ProtocolDataDescriptor), block.end(), data.begin());
  }
  // What was not filled is zero: neither a vendor nor a namespace, so no NVMe controller.
  const bool good = loadLe16(data.data()) != 0 && loadLe32(data.data() + 516) != 0;
  NvmeIdentifyDevice command;
  command.fillController(data.data());
  note(command, good ? ProtocolResult::Success : ProtocolResult::Failure);
  return good ? std::optional(data) : std::nullopt;
}

bool readCapacity(DeviceHandle handle, ReadCapacityRecord& capacity) {
  capacity = {};
  const ControlAnswer answer =
      deviceControl(handle, IOCTL_STORAGE_READ_CAPACITY, nullptr, 0, &capacity, sizeof capacity);
  return answer && answer.returned >= offsetof(ReadCapacityRecord, diskLength);
}

ProtocolResult identifyAndCapacity(DeviceHandle handle, NvmeIdentifyRecord& record) {
  const std::optional<NvmeIdentifyData> data = identify(handle);
  if (!data) {
    return ProtocolResult::Failure;
  }
  ReadCapacityRecord capacity;
  if (!readCapacity(handle, capacity)) {
    return ProtocolResult::Failure;
  }

  readNvmeController(*data, record);
  record.selfTestSupported = (nvmeOptionalAdminCommands(*data) & kNvmeOacsSelfTest) != 0;
  record.selfTestOptions = (*data)[318];
  record.extendedSelfTestMinutes = loadLe16(data->data() + 316);
  record.blockSize = knownSectorSize(capacity.blockLength);
  record.blockCount =
      static_cast<std::uint64_t>(std::max<std::int64_t>(capacity.numberOfBlocks, 0));
  return ProtocolResult::Success;
}

// Reads a log, as far as its answer can be trusted.
ProtocolResult askForLog(DeviceHandle handle, const ProtocolDataRequest& request, void* buffer) {
  const std::uint32_t bytes = request.bytes;
  const std::vector<std::uint8_t> block = queryProtocolData(handle, request);
  ProtocolDataDescriptor answer;
  if (block.size() < sizeof answer) {
    return ProtocolResult::Failure;
  }
  std::memcpy(&answer, block.data(), sizeof answer);
  const std::uint64_t start =
      std::uint64_t{offsetof(ProtocolDataDescriptor, data)} + answer.data.dataOffset;
  if (answer.version != sizeof answer || answer.size != sizeof answer ||
      answer.data.dataOffset < sizeof answer.data || answer.data.dataLength < bytes ||
      start + bytes > block.size()) {
    return ProtocolResult::Failure;
  }
  if (isAllZero(std::span(block).subspan(static_cast<std::size_t>(start), bytes))) {
    return ProtocolResult::Failure;
  }
  std::memcpy(buffer, block.data() + start, bytes);
  return ProtocolResult::Success;
}

ProtocolResult queryLog(DeviceHandle handle, const ProtocolDataRequest& request, void* buffer) {
  if (buffer == nullptr) {
    return ProtocolResult::Failure;
  }
  const ProtocolResult result = askForLog(handle, request, buffer);
  NvmeGetLog command(buffer, request.bytes, request.value, NvmeGetLog::kAllNamespaces,
                     static_cast<std::uint16_t>(request.identifier));
  note(command, result);
  return result;
}

}  // namespace

bool probeNvmeSystemCall(DeviceHandle handle) {
  return WinNvmeSystemCallProtocol::ProbeHandle(handle);
}

std::unique_ptr<StorageProtocol> makeNvmeSystemCallProtocol(DeviceHandle handle,
                                                            const std::string& path) {
  return std::make_unique<WinNvmeSystemCallProtocol>(handle, path);
}

WinNvmeSystemCallProtocol::WinNvmeSystemCallProtocol(DeviceHandle handle, std::string devicePath)
    : handle_(handle), devicePath_(std::move(devicePath)) {}

WinNvmeSystemCallProtocol::~WinNvmeSystemCallProtocol() = default;

bool WinNvmeSystemCallProtocol::ProbeHandle(DeviceHandle handle) {
  NvmeIdentifyRecord scratch;
  return succeeded(identifyAndCapacity(handle, scratch));
}

bool WinNvmeSystemCallProtocol::GetIdentifyRecord(NvmeIdentifyRecord* record) {
  return record != nullptr && succeeded(identifyAndCapacity(handle_, *record));
}

ProtocolResult WinNvmeSystemCallProtocol::GetLogPage(void* buffer, std::uint32_t bytes,
                                                     std::uint32_t log, std::uint32_t subValue) {
  return queryLog(handle_, {kDeviceProtocolProperty, kDataTypeLogPage, log, subValue, bytes},
                  buffer);
}

ProtocolResult WinNvmeSystemCallProtocol::ReadLog(void* buffer, std::uint32_t bytes,
                                                  std::uint32_t log, std::uint16_t identifier) {
  return queryLog(handle_, {kDeviceProtocolProperty, kDataTypeLogPage, log, 0, bytes, identifier},
                  buffer);
}

ProtocolResult WinNvmeSystemCallProtocol::GetVendorLog(void* buffer) {
  return GetLogPage(buffer, kNvmeVendorLogBytes, kNvmeVendorLog, 0);
}

ProtocolResult WinNvmeSystemCallProtocol::GetHealthLog(void* buffer) {
  return GetLogPage(buffer, kNvmeHealthLogBytes, kNvmeHealthLog, 0);
}

ProtocolResult WinNvmeSystemCallProtocol::SendProtocolCommand(NvmeCmd& command) {
  const bool in = command.fromDevice != 0;
  if (command.transferBytes > kLargestCommandData) {
    return ProtocolResult::InvalidArgument;
  }
  const auto bytes = static_cast<std::uint32_t>(command.transferBytes);
  ProtocolCommandRecord record{};
  record.version = 1;
  record.length = kCommandRecordLength;
  record.protocolType = kProtocolTypeNvme;
  record.flags = kAdapterRequest;
  record.commandLength = NvmeCmd::kImageBytes;
  record.errorInfoLength = kErrorInfoBytes;
  record.dataToDeviceTransferLength = in ? 0 : bytes;
  record.dataFromDeviceTransferLength = in ? bytes : 0;
  record.timeOutValue = command.timeoutSeconds;
  record.errorInfoOffset = sizeof record;
  record.dataToDeviceBufferOffset = in ? 0 : kCommandDataOffset;
  record.dataFromDeviceBufferOffset = in ? kCommandDataOffset : 0;
  record.commandSpecific = kNvmeAdminCommand;
  std::ranges::copy(command.image(), record.command);

  std::vector<std::uint8_t> block(std::max<std::uint64_t>(bytes, kSmallestCommandData) +
                                  kCommandDataOffset);
  std::memcpy(block.data(), &record, sizeof record);
  if (!in && bytes != 0) {
    std::memcpy(block.data() + kCommandDataOffset, command.data, bytes);
  }
  const ControlAnswer answer = exchange(handle_, IOCTL_STORAGE_PROTOCOL_COMMAND, block);
  const bool whole =
      !in || bytes == 0 || answer.returned >= std::uint64_t{kCommandDataOffset} + bytes;
  if (!answer || !whole) {
    return ProtocolResult::TransportFailure;
  }
  // The call succeeds for a command that the controller refused as well; the record says so.
  std::memcpy(&record, block.data(), sizeof record);
  if (answer.returned >= sizeof record && record.returnStatus > kReturnSuccess) {
    return ProtocolResult::DeviceError;
  }
  if (in && bytes != 0) {
    std::memcpy(command.data, block.data() + kCommandDataOffset, bytes);
  }
  return ProtocolResult::Success;
}

ProtocolResult WinNvmeSystemCallProtocol::GetProperties(StorageProtocolProperties* out) {
  if (out == nullptr) {
    return ProtocolResult::Failure;
  }
  NvmeIdentifyRecord record;
  if (!succeeded(identifyAndCapacity(handle_, record))) {
    return ProtocolResult::DeviceError;
  }

  StorageProtocolProperties& p = *properties_;
  p.protocolName = "NVMe";
  p.firmwareRevision = record.firmwareRevision;
  p.modelNumber = record.modelNumber;
  p.serialNumber = record.serialNumber;
  p.solidState = true;
  p.smartEnabled = true;
  p.smartSupported = true;
  p.logicalSectorSize = record.blockSize;
  p.physicalSectorSize = record.blockSize;
  p.totalSectors = record.blockCount;
  p.selfTestSupported = record.selfTestSupported;
  p.conveyanceSupported = false;
  p.offlineImmediateSupported = false;

  NvmeVendorLogData vendor{};
  if (succeeded(GetVendorLog(vendor.data()))) {
    p.fruPartNumber = nvmePartNumber(vendor);
  }
  *out = p;
  return ProtocolResult::Success;
}

ProtocolResult WinNvmeSystemCallProtocol::GetTemperature(std::uint8_t* celsius) {
  if (celsius == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  NvmeHealthLogData log{};
  const ProtocolResult result = GetHealthLog(log.data());
  if (!succeeded(result)) {
    return result;
  }
  const std::optional<std::uint8_t> measured = nvmeTemperature(log);
  *celsius = measured.value_or(*celsius);
  return measured ? ProtocolResult::Success : ProtocolResult::Failure;
}

ProtocolResult WinNvmeSystemCallProtocol::GetWearIndicator(std::uint32_t* percent) {
  return readNvmeValue(
      percent, [this](NvmeHealthLogData& log) { return GetHealthLog(log.data()); },
      nvmeWearIndicator);
}

ProtocolResult WinNvmeSystemCallProtocol::StartSelfTest(std::uint8_t code, std::uint8_t) {
  // Looks at the drive before it is put to work; what it answers plays no part.
  NvmeIdentifyRecord identity;
  std::ignore = GetIdentifyRecord(&identity);
  std::uint8_t lastResult = 0;
  std::ignore = GetSelfTestResult(&lastResult);
  NvmeSelfTestCmd command(0, code);
  return SendProtocolCommand(command);
}

ProtocolResult WinNvmeSystemCallProtocol::AbortSelfTest() {
  NvmeSelfTestCmd command(0, kSelfTestAbortCode);
  return SendProtocolCommand(command);
}

ProtocolResult WinNvmeSystemCallProtocol::readSelfTestLog(NvmeSelfTestLogData& log) {
  return GetLogPage(log.data(), kNvmeSelfTestLogBytes, kNvmeSelfTestLog, 0);
}

ProtocolResult WinNvmeSystemCallProtocol::GetSelfTestProgress(std::uint8_t* percent) {
  if (percent == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  NvmeSelfTestLogData log{};
  const ProtocolResult result = readSelfTestLog(log);
  if (!succeeded(result)) {
    return result;
  }
  if (nvmeSelfTestOperation(log) == 0) {
    return ProtocolResult::Failure;
  }
  *percent = nvmeSelfTestPercent(log);
  return ProtocolResult::Success;
}

ProtocolResult WinNvmeSystemCallProtocol::GetSelfTestResult(std::uint8_t* code) {
  return readNvmeValue(
      code, [this](NvmeSelfTestLogData& log) { return readSelfTestLog(log); }, nvmeSelfTestResult);
}

ProtocolResult WinNvmeSystemCallProtocol::GetSelfTestOperation(std::uint8_t* operation) {
  return readNvmeValue(
      operation, [this](NvmeSelfTestLogData& log) { return readSelfTestLog(log); },
      nvmeSelfTestOperation);
}

ProtocolResult WinNvmeSystemCallProtocol::GetFirstFailedLba(std::uint64_t*) {
  return ProtocolResult::NotSupported;
}
ProtocolResult WinNvmeSystemCallProtocol::GetSmartStatus(std::uint8_t*) {
  return ProtocolResult::NotSupported;
}
ProtocolResult WinNvmeSystemCallProtocol::SetSmartEnabled(std::uint8_t) {
  return ProtocolResult::NotSupported;
}
ProtocolResult WinNvmeSystemCallProtocol::WriteUncorrectable(std::uint64_t) {
  return ProtocolResult::NotSupported;
}

}  // namespace ostria::storage
