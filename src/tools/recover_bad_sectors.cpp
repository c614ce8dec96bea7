// The walk over devices and partitions: volumes off line, one operation, and each step reported to
// the host. Whatever fails costs one device or partition only.
#include "tools/recover_bad_sectors.h"

#include "base/sector_size.h"
#include "inventory/disk_use.h"
#include "inventory/storage_component.h"
#include "tools/check_filesystem_operation.h"
#include "tools/scan_and_fix_tool.h"
#include "tools/scan_tool.h"
#include "tools/tool_events.h"

namespace ostria::storage {
namespace {

constexpr const char* kUnmountFailureText = "Unable to unmount all partitions of the device";
constexpr const char* kNoTableText = "The partition table of the device could not be read.";
constexpr const char* kLostVolumeText = "The volume could not be mounted again: ";

/// Marks a run while it lives.
class RunMark {
 public:
  explicit RunMark(bool& running) : running_(running) { running_ = true; }
  ~RunMark() { running_ = false; }
  RunMark(const RunMark&) = delete;
  RunMark& operator=(const RunMark&) = delete;

 private:
  bool& running_;
};

std::string statusText(ToolStatus status) {
  return std::to_string(static_cast<std::int32_t>(status));
}

/// The groups of four values by which the host describes the partitions of a device; what is left
/// of an incomplete group is no partition.
std::vector<RecoverPartitionItem> partitionItems(const std::vector<std::string>& values) {
  constexpr std::size_t kGroupSize = 4;
  std::vector<RecoverPartitionItem> items;
  for (std::size_t i = 0; i + kGroupSize <= values.size(); i += kGroupSize) {
    items.push_back({values[i], values[i + 2], values[i + 1], values[i + 3] == "T"});
  }
  return items;
}

/// Keeps the volumes of a device off line while it lives.
class VolumesOffline {
 public:
  explicit VolumesOffline(StorageComponent& component) : component_(component) {}
  ~VolumesOffline() {
    try {
      (void)giveBack();
    } catch (...) {
      // What could not be given back stays off line until the component goes.
    }
  }
  VolumesOffline(const VolumesOffline&) = delete;
  VolumesOffline& operator=(const VolumesOffline&) = delete;

  /// @return what stands in the way, by name
  std::vector<std::string> take() { return component_.unmountPartitions(); }
  /// @return names of the volumes that did not come back
  std::vector<std::string> giveBack() { return component_.remountPartitions(); }

 private:
  StorageComponent& component_;
};

// A user may force a repair below volumes that stay mounted. Swap, arrays, other repairs, and
// whoever else has a claim on the disk are never overruled.
std::unique_ptr<DiskClaim> lockBelow(DeviceHandle disk, const std::vector<std::string>& users) {
  const auto use = findDiskUse(disk);
  const auto staysMounted = [&](const std::string& user) {
    return std::find(use->volumes.begin(), use->volumes.end(), user) != use->volumes.end();
  };
  return use && use->users.empty() && std::all_of(users.begin(), users.end(), staysMounted)
             ? lockDisk(disk)
             : nullptr;
}

}  // namespace

RecoverBadSectors::RecoverBadSectors(const Identifier& id)
    : Tool(id),
      runLog_(std::make_unique<RecoverRunLog>()),
      abortContext_(std::make_unique<AbortContext>()) {
  operations_["filesystem"] = makeCheckFilesystemOperation(this);
  operations_["scan"] = std::make_unique<ScanTool>(this);
  operations_["repair"] = std::make_unique<ScanAndFixTool>(this);
}

RecoverBadSectors::~RecoverBadSectors() = default;

bool RecoverBadSectors::isApplicable(SystemComponent* component) {
  const auto* const storage = dynamic_cast<StorageComponent*>(component);
  if (storage == nullptr || storage->storageProtocol() == nullptr) {
    return false;
  }
  if (storage->busKind() == StorageBusKind::Emmc || storage->busKind() == StorageBusKind::Nvme) {
    return false;
  }
  if (storage->connection() == DeviceConnection::RaidMember) {
    return false;
  }
  StorageProtocolProperties device;
  if (!succeeded(storage->storageProtocol()->GetCachedProperties(&device))) {
    return false;
  }
  if (device.totalSectors == 0 || device.logicalSectorSize < kSmallestSectorBytes) {
    return false;
  }
  return storage->connection() != DeviceConnection::External ||
         !(storage->securitySupported() && storage->securityLocked());
}

void RecoverBadSectors::run() {
  bool isOpen = false;
  try {
    runOperation(isOpen);
    return;
  } catch (...) {
    // Only a handler of the host, or memory, can fail here; the border lets nothing through.
  }
  if (!isOpen) {
    return;
  }
  // A host that was given the beginning waits for the end.
  try {
    fireEvent(*this, eventReceiver, "OnRecoverFinish");
  } catch (...) {
    // The host cannot be reached.
  }
}

void RecoverBadSectors::runOperation(bool& isOpen) {
  // A handler that starts the tool anew would replace what the outer run works on.
  if (running_) {
    return;
  }
  const RunMark mark(running_);
  abortContext_->setAborted(false);
  const std::vector<std::string>* const operation = getParameter("Operation");
  operationName_ = operation == nullptr || operation->empty() ? "" : operation->front();
  if (operationName_ == "filterDevices") {
    return filterDevices();
  }

  const auto chosen = operations_.find(operationName_);
  if (chosen == operations_.end()) {
    return setParameter("Message", {"INVALID_PARAMETER"});
  }
  currentOperation_ = chosen->second.get();
  values_.clear();
  // What a handler does to `devices` is for the next run.
  const std::vector<SystemComponent*> chosenDevices = devices;
  buildDeviceItems();
  if (eventReceiver == nullptr) {
    return;
  }

  // What an earlier run left there is not of this one.
  if (getParameter("Message") != nullptr) {
    setParameter("Message", {});
  }
  isOpen = true;
  fireEvent(*this, eventReceiver, "OnRecoverInit");
  publish(*this, eventReceiver, "OperationInit", {currentOperation_->getTitle()});
  for (std::size_t i = 0; i < deviceItems_.size(); ++i) {
    setParameter("Message", {});
    currentOperation_->setComponent(dynamic_cast<StorageComponent*>(chosenDevices[i]));
    if (deviceItems_[i].partitions.empty()) {
      treatDevice(deviceItems_[i]);
    } else {
      treatPartitions(deviceItems_[i]);
    }
  }
  isOpen = false;
  fireEvent(*this, eventReceiver, "OnRecoverFinish");
}

void RecoverBadSectors::filterDevices() {
  values_.clear();
  for (SystemComponent* const device : devices) {
    values_.push_back(isApplicable(device) ? "T" : "F");
  }
  setParameter("DevicesFilter", values_);
}

void RecoverBadSectors::buildDeviceItems() {
  deviceItems_.clear();
  for (SystemComponent* const device : devices) {
    RecoverDeviceItem item;
    if (device != nullptr) {
      item.identifier = device->id();
      item.name = device->description().displayName;
    }
    if (operationName_ == "filesystem") {
      if (const auto* const table = getParameter("partition_table" + item.identifier)) {
        item.partitions = partitionItems(*table);
      }
    }
    deviceItems_.push_back(std::move(item));
  }
}

void RecoverBadSectors::treatPartitions(const RecoverDeviceItem& item) {
  publish(*this, eventReceiver, "DeviceInit", {item.identifier});
  // Of the device, not of the partition: after an executed partition a refused one shows no text.
  bool executed = false;
  for (std::uint32_t index = 0; index < item.partitions.size(); ++index) {
    const RecoverPartitionItem& partition = item.partitions[index];
    currentOperation_->clearMessage();
    values_ = {item.identifier, partition.displayName};
    currentOperation_->setEventReceiver(eventReceiver);
    publish(*this, eventReceiver, "PartitionInit", values_);

    ToolStatus status = ToolStatus::Stopped;
    std::string notice;
    std::string message;
    if (isAbortRequested(*this)) {
      status = ToolStatus::Stopped;
    } else if (partition.needsScheduling) {
      status = askAndSchedule(partition.volumePath, notice);
    } else {
      status = executeGuarded(item, index);
      notice = currentOperation_->getStatusText();
      executed = true;
      message = currentOperation_->getMessage();
    }

    values_.push_back(message);
    values_.push_back(statusText(status));
    setParameter("PartitionFinish", values_);
    if (!executed && !notice.empty()) {
      setParameter("Message", {notice});
    }
    fireEvent(*this, eventReceiver, "OnPartitionFinish");
    setParameter("Message", {});
  }
  publish(*this, eventReceiver, "DeviceFinish", {item.identifier});
}

ToolStatus RecoverBadSectors::askAndSchedule(const std::string& volumePath, std::string& notice) {
  InputRequest request;
  request.title = "SCHEDULER_TITLE";
  request.question = "SCHEDULER_DESCRIPTION";
  request.questionKind = 0;
  request.defaultAnswer = InputRequest::Yes;
  if (eventReceiver != nullptr) {
    eventReceiver->requestInput(request);
  }
  if (request.answer == InputRequest::Yes) {
    auto* const checker = dynamic_cast<CheckFilesystemOperation*>(currentOperation_);
    return checker != nullptr && checker->scheduleCheck(volumePath) ? ToolStatus::Scheduled
                                                                    : ToolStatus::ScheduleFailed;
  }
  notice = request.answer == InputRequest::No
               ? "Not Scheduled"
               : "Cannot execute on the operating system's partition";
  return ToolStatus::Stopped;
}

void RecoverBadSectors::treatDevice(const RecoverDeviceItem& item) {
  currentOperation_->clearMessage();
  values_ = {item.identifier};
  publish(*this, eventReceiver, "DeviceInit", values_);
  currentOperation_->setEventReceiver(eventReceiver);

  messages_.clear();
  executed_ = false;
  const ToolStatus status = executeGuarded(item, 0);
  const auto& notices = currentOperation_->notices();
  if (executed_) {
    messages_.insert(messages_.end(), notices.begin(), notices.end());
  }
  if (!messages_.empty()) {
    setParameter("Message", messages_);
  }

  values_.push_back(statusText(status));
  setParameter("DeviceFinish", values_);
  storeStatistics();
  runLog_->append(currentOperation_->getMessage());
  fireEvent(*this, eventReceiver, "OnDeviceFinish");
  setParameter("Message", {});
}

/// An operation that runs out of memory, or whose handler at the host fails, could not run: the
/// walk goes on with the next device.
ToolStatus RecoverBadSectors::executeGuarded(const RecoverDeviceItem& item,
                                             std::uint32_t partitionIndex) try {
  StorageComponent* const component = currentOperation_->component();
  // After an abort no further device is touched, and none goes off line for nothing.
  if (operationName_ != "filesystem" && isAbortRequested(*this)) {
    return ToolStatus::Stopped;
  }
  if (operationName_ != "repair" || component == nullptr) {
    executed_ = true;
    return currentOperation_->execute(item, partitionIndex);
  }
  return repairOffline(*component, item);
} catch (...) {
  return ToolStatus::CouldNotRun;
}

/// A disk that others use is not written to: what they believe to know of it would be wrong.
ToolStatus RecoverBadSectors::repairOffline(StorageComponent& component,
                                            const RecoverDeviceItem& item) {
  if (component.connection() != DeviceConnection::RaidMember &&
      component.partitionTable() == nullptr) {
    messages_.push_back(kNoTableText);
  }
  VolumesOffline offline(component);
  ToolStatus status = ToolStatus::CouldNotRun;
  const std::vector<std::string> users = offline.take();
  const auto* const forced = getParameter("ForceMounted");
  const bool isForced = forced != nullptr && !forced->empty() && forced->front() == "T";
  const std::unique_ptr<DiskClaim> lock =
      !users.empty() && isForced ? lockBelow(component.storageProtocol()->GetDeviceHandle(), users)
                                 : nullptr;
  if (users.empty() || lock != nullptr) {
    executed_ = true;
    try {
      status = currentOperation_->execute(item, 0);
    } catch (...) {
      // It could not run; what becomes of the volumes is still to be reported.
    }
  }
  if (!users.empty()) {
    messages_.insert(messages_.begin(), users.begin(), users.end());
    messages_.insert(messages_.begin(), kUnmountFailureText);
  }
  for (const std::string& volume : offline.giveBack()) {
    messages_.push_back(kLostVolumeText + volume + ".");
    // Whatever was found, the system is not as it was.
    if (status == ToolStatus::Finished) {
      status = ToolStatus::Stopped;
    }
  }
  return status;
}

void RecoverBadSectors::storeStatistics() {
  const auto textsOf = [](const RecoverBadSectorsOperation::BadSectorList& list) {
    std::vector<std::string> texts;
    for (const std::uint64_t sector : list) {
      texts.push_back(std::to_string(sector));
    }
    return texts;
  };
  std::vector<std::string> numbers;
  std::vector<std::string> found;
  std::vector<std::string> repaired;
  const auto* const counters = currentOperation_->getSectorStatistics();
  const auto* const list = currentOperation_->getBadSectorList();
  if (!executed_) {
    // The operation still holds what it found on an earlier device.
    numbers.assign(counters == nullptr ? 0 : counters->size(), "0");
  } else if (counters != nullptr) {
    const auto [scanned, bad, fixed, notFixed] = *counters;
    numbers = {std::to_string(scanned), std::to_string(bad), std::to_string(fixed),
               std::to_string(bad - fixed)};
  }
  if (executed_ && list != nullptr) {
    found = textsOf(*list);
    repaired = textsOf(currentOperation_->repairedSectors());
  }
  setParameter("SectorsInfo", numbers);
  setParameter("BadSectorsList", found);
  setParameter("RepairedSectorsList", repaired);
}

}  // namespace ostria::storage
