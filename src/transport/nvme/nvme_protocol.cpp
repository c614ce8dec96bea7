// An NVMe drive over a vendor's miniport pass-through. Not every such driver passes the completion
// status on, so what came back is looked at before it counts.

#include "transport/nvme/nvme_protocol.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "base/all_zero.h"
#include "base/byte_order.h"
#include "base/sector_size.h"
#include "transport/command_recorder.h"
#include "transport/hal/nvme_namespace.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/nvme/nvme_data.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kAllNamespaces = NvmeGetLog::kAllNamespaces;
constexpr std::uint8_t kSelfTestAbortCode = 15;

}  // namespace

NvmeProtocol::NvmeProtocol(DeviceHandle handle, std::string devicePath)
    : NvmeProtocol(handle, std::move(devicePath), nvmeNamespaceOf(handle)) {}

NvmeProtocol::NvmeProtocol(DeviceHandle handle, std::string devicePath, std::uint32_t nodeNamespace)
    : handle_(handle), devicePath_(std::move(devicePath)), nodeNamespace_(nodeNamespace) {}

NvmeProtocol::~NvmeProtocol() = default;

ProtocolResult NvmeProtocol::SendThroughBridges(NvmeCmd& command) {
  command.pathId = pathId_;
  if (command.ioQueue == 0) {
    counters_.reset();
  }
  ProtocolResult result = ProtocolResult::Failure;
  for (std::size_t i = 0; i < bridges_.size(); ++i) {
    result = bridges_[i].Send(command);
    if (succeeded(result)) {
      bridges_.moveToFront(i);
      break;
    }
  }
  if (CommandRecorder* const recorder = commandRecorder()) {
    recorder->noteNvme(command, result);
  }
  return result;
}

ProtocolResult NvmeProtocol::GetLogPage(void* buffer, std::uint32_t bytes, std::uint32_t log) {
  return ReadLog(buffer, bytes, log, 0);
}

ProtocolResult NvmeProtocol::ReadLog(void* buffer, std::uint32_t bytes, std::uint32_t log,
                                     std::uint16_t identifier) {
  if (buffer == nullptr || bytes < 4) {
    return ProtocolResult::DeviceError;
  }
  std::memset(buffer, 0, bytes);
  NvmeGetLog command(buffer, bytes, log, kAllNamespaces, identifier);
  const bool carried = succeeded(SendThroughBridges(command));
  return carried && !isAllZero({static_cast<const std::uint8_t*>(buffer), bytes})
             ? ProtocolResult::Success
             : ProtocolResult::DeviceError;
}

ProtocolResult NvmeProtocol::GetHealthLog(void* buffer) {
  return GetLogPage(buffer, kNvmeHealthLogBytes, kNvmeHealthLog);
}

ProtocolResult NvmeProtocol::GetIdentifyRecord(NvmeIdentifyRecord* record) {
  if (record == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  const auto data = std::make_unique<NvmeIdentifyData>();
  NvmeIdentifyDevice command;
  command.fillController(data->data());
  if (!succeeded(SendThroughBridges(command)) || isAllZero(*data)) {
    return ProtocolResult::DeviceError;
  }
  readNvmeController(*data, *record);
  return ProtocolResult::Success;
}

bool NvmeProtocol::ProbeBridge(NvmeBridge& bridge, std::uint8_t pathId) {
  const auto data = std::make_unique<NvmeIdentifyData>();
  NvmeIdentifyDevice command;
  command.fillController(data->data());
  command.pathId = pathId;
  return succeeded(bridge.Send(command)) && !isAllZero(*data);
}

bool NvmeProtocol::FindNewPath(NvmeBridge& bridge, const std::vector<std::string>& knownSerials,
                               std::uint8_t* id, std::string* serial) {
  const auto data = std::make_unique<NvmeIdentifyData>();
  for (unsigned path = 0; path <= 255; ++path) {
    data->fill(0);
    NvmeIdentifyDevice command;
    command.fillController(data->data());
    command.pathId = static_cast<std::uint8_t>(path);
    if (!succeeded(bridge.Send(command))) {
      continue;
    }

    const auto begin = data->begin() + 4;
    const std::string found(begin, std::find(begin, begin + 20, std::uint8_t{0}));
    // The pass-through reports success for a command that the controller refused; its answer is all
    // zero.
    if (found.find_first_not_of(' ') == std::string::npos) {
      continue;
    }
    if (std::find(knownSerials.begin(), knownSerials.end(), found) != knownSerials.end()) {
      continue;
    }
    *id = static_cast<std::uint8_t>(path);
    *serial = found;
    return true;
  }
  return false;
}

ProtocolResult NvmeProtocol::GetProperties(StorageProtocolProperties* out) {
  if (out == nullptr) {
    return ProtocolResult::Failure;
  }
  const ProtocolResult result = refresh();
  *out = *properties_;  // what was learnt before a failure is worth having
  return result;
}

ProtocolResult NvmeProtocol::refresh() {
  const auto data = std::make_unique<NvmeIdentifyData>();
  NvmeIdentifyDevice identify;
  identify.fillController(data->data());
  if (!succeeded(SendThroughBridges(identify)) || isAllZero(*data)) {
    return ProtocolResult::DeviceError;
  }

  NvmeIdentifyRecord record;
  readNvmeController(*data, record);
  StorageProtocolProperties& p = *properties_;
  p.protocolName = "NVMe";
  p.modelNumber = record.modelNumber;
  p.serialNumber = record.serialNumber;
  p.firmwareRevision = record.firmwareRevision;
  p.solidState = true;
  p.smartEnabled = true;
  p.smartSupported = true;
  const std::uint16_t adminCommands = nvmeOptionalAdminCommands(*data);
  p.selfTestSupported = (adminCommands & kNvmeOacsSelfTest) != 0;
  p.conveyanceSupported = false;
  p.offlineImmediateSupported = false;

  const ProtocolResult geometry =
      refreshGeometry((adminCommands & kNvmeOacsNamespaceManagement) != 0);
  if (!succeeded(geometry)) {
    return geometry;
  }

  NvmeVendorLogData vendor{};
  if (succeeded(GetLogPage(vendor.data(), kNvmeVendorLogBytes, kNvmeVendorLog))) {
    p.fruPartNumber = nvmePartNumber(vendor);
  }
  return ProtocolResult::Success;
}

ProtocolResult NvmeProtocol::refreshGeometry(bool namespaceManagement) {
  // A controller may have several namespaces, each of them a disk of its own.
  if (nodeNamespace_ != 0) {
    return readNamespace(nodeNamespace_);
  }
  if (namespaceManagement && succeeded(readNamespace(kAllNamespaces))) {
    return ProtocolResult::Success;
  }

  const auto list = std::make_unique<NvmeIdentifyData>();
  NvmeIdentifyDevice command;
  command.fillNamespaceList(list->data());
  if (!succeeded(SendThroughBridges(command))) {
    return ProtocolResult::DeviceError;
  }
  std::uint32_t id = 0;
  for (std::size_t at = 0; at < list->size() && id == 0; at += 4) {
    id = loadLe32(list->data() + at);
  }
  return readNamespace(id);
}

ProtocolResult NvmeProtocol::readNamespace(std::uint32_t id) {
  const auto data = std::make_unique<NvmeIdentifyData>();
  NvmeIdentifyDevice command;
  command.fillNamespace(data->data(), id);
  if (!succeeded(SendThroughBridges(command))) {
    return ProtocolResult::DeviceError;
  }
  NvmeNamespaceGeometry geometry;
  const ProtocolResult result = readNvmeNamespace(*data, geometry);
  if (succeeded(result)) {
    properties_->logicalSectorSize = geometry.sectorSize;
    properties_->physicalSectorSize = geometry.sectorSize;
    properties_->totalSectors = geometry.sectors;
  }
  return result;
}

ProtocolResult NvmeProtocol::Read(std::uint64_t lba, std::uint16_t sectors,
                                  std::uint32_t timeoutSeconds, void* buffer,
                                  std::uint32_t bufferBytes) {
  const std::uint32_t sectorSize = properties_->logicalSectorSize;
  // A controller writes as many sectors as the command asks for, so the buffer has to hold them.
  if (buffer == nullptr || sectorSize < kSmallestSectorBytes || sectors == 0 ||
      std::uint64_t{sectors} * sectorSize > bufferBytes) {
    return ProtocolResult::InvalidArgument;
  }
  // A system with a node for each namespace also reports how the read was completed.
  const bool statusReported = nodeNamespace_ != 0;
  if (!statusReported && !counters_) {
    counters_ = readCounters();
  }
  NvmeRead command(buffer, lba, sectors, statusReported ? nodeNamespace_ : 1, false);
  command.timeoutSeconds = timeoutSeconds;
  command.transferBytes = bufferBytes;
  const ProtocolResult result = SendThroughBridges(command);
  if (!succeeded(result) || statusReported ||
      !isAllZero({static_cast<const std::uint8_t*>(buffer), bufferBytes})) {
    return result;
  }
  return judgeZeros();
}

std::optional<NvmeErrorCounters> NvmeProtocol::readCounters() {
  NvmeHealthLogData log{};
  if (!succeeded(GetHealthLog(log.data()))) {
    return std::nullopt;
  }
  return nvmeErrorCounters(log);
}

// Zeros may be what the medium holds, or what a failed read left in the driver's block.
ProtocolResult NvmeProtocol::judgeZeros() {
  const std::optional<NvmeErrorCounters> before = counters_;
  counters_ = readCounters();
  if (before && counters_ && before->mediaErrors != counters_->mediaErrors) {
    return ProtocolResult::MediumError;
  }
  const bool unmoved = before && counters_ && before->errorEntries == counters_->errorEntries;
  return unmoved ? ProtocolResult::Success : ProtocolResult::DeviceError;
}

ProtocolResult NvmeProtocol::GetTemperature(std::uint8_t* celsius) {
  if (celsius == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  NvmeHealthLogData log{};
  if (succeeded(GetHealthLog(log.data()))) {
    *celsius = nvmeTemperature(log).value_or(*celsius);
  }
  return ProtocolResult::Success;
}

ProtocolResult NvmeProtocol::GetWearIndicator(std::uint32_t* percent) {
  return readNvmeValue(
      percent, [this](NvmeHealthLogData& log) { return GetHealthLog(log.data()); },
      nvmeWearIndicator);
}

ProtocolResult NvmeProtocol::StartSelfTest(std::uint8_t code, std::uint8_t) {
  NvmeSelfTestCmd command(nodeNamespace_ != 0 ? nodeNamespace_ : kAllNamespaces, code);
  return SendThroughBridges(command);
}

ProtocolResult NvmeProtocol::AbortSelfTest() { return StartSelfTest(kSelfTestAbortCode, 0); }

ProtocolResult NvmeProtocol::readSelfTestLog(NvmeSelfTestLogData& log) {
  NvmeGetLog command(log.data(), kNvmeSelfTestLogBytes, kNvmeSelfTestLog);
  const ProtocolResult result = SendThroughBridges(command);
  // A result that no test has used is Fh: zeros would read as a test that passed.
  return succeeded(result) && isAllZero(log) ? ProtocolResult::DeviceError : result;
}

ProtocolResult NvmeProtocol::GetSelfTestProgress(std::uint8_t* percent) {
  if (percent == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  NvmeSelfTestLogData log{};
  const ProtocolResult result = readSelfTestLog(log);
  if (!succeeded(result)) {
    return result;
  }
  if ((nvmeSelfTestOperation(log) & 0x03u) == 0) {
    return ProtocolResult::Failure;
  }
  *percent = nvmeSelfTestPercent(log);
  return ProtocolResult::Success;
}

ProtocolResult NvmeProtocol::GetSelfTestResult(std::uint8_t* code) {
  return readNvmeValue(
      code, [this](NvmeSelfTestLogData& log) { return readSelfTestLog(log); }, nvmeSelfTestResult);
}

ProtocolResult NvmeProtocol::GetSelfTestOperation(std::uint8_t* operation) {
  return readNvmeValue(
      operation, [this](NvmeSelfTestLogData& log) { return readSelfTestLog(log); },
      nvmeSelfTestOperation);
}

}  // namespace ostria::storage
