// One device of the inventory: raw reads by the protocol or by the operating system, the block size
// that the device takes, and what its controller says of itself.
#include "inventory/storage_component.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <new>

#include "base/sector_size.h"
#include "inventory/device_reports.h"
#include "inventory/health_report.h"
#include "inventory/identity_report.h"
#include "inventory/power_report.h"
#include "inventory/recording/recording_report.h"
#include "inventory/self_test_report.h"
#include "inventory/storage_scanner.h"
#include "services/filesystem.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kReadTimeoutSeconds = 30;
constexpr std::uint64_t kControllerStatusRegister = 0x1C;  // NVMe CSTS
constexpr std::uint32_t kControllerFatalStatusBit = 0x2;   // NVMe CSTS.CFS

// The fourth is what the field has used; it need not be one below a power of two.
constexpr std::array<std::uint16_t, 10> kReadBlockCandidates = {65535, 32767, 16383, 8193, 4095,
                                                                2047,  1023,  511,   255,  127};
constexpr int kReadsPerCandidate = 5;
/// The largest block of 4096-byte sectors. A device that claims 64 KiB would get 4 GiB.
constexpr std::uint64_t kLargestBlockBytes = 65535ull * 4096;

bool fits(std::uint16_t sectors, std::uint32_t sectorBytes, std::uint32_t bufferBytes) {
  return std::uint64_t{sectors} * sectorBytes <= bufferBytes;
}

}  // namespace

StorageComponent::StorageComponent(std::unique_ptr<StorageProtocol> protocol,
                                   std::unique_ptr<PartitionTable> partitions)
    : protocol_(std::move(protocol)), partitions_(std::move(partitions)) {}

StorageComponent::~StorageComponent() {
  try {
    // Nobody is left to be informed of a volume that does not come back.
    (void)remountPartitions();
  } catch (...) {
    // Memory alone can fail here; what is open is closed by the members.
  }
  // Protocol, partition table, driver service: the order in which hosts have seen them go. The
  // members alone would go the other way round.
  protocol_.reset();
  partitions_.reset();
}

void StorageComponent::setSecondaryProtocol(std::unique_ptr<StorageProtocol> protocol) {
  secondaryProtocol_ = std::move(protocol);
}

void StorageComponent::setPciLocation(std::uint8_t bus, std::uint8_t device,
                                      std::uint8_t function) {
  pciBus_ = bus;
  pciDevice_ = device;
  pciFunction_ = function;
}

void StorageComponent::setNames(std::string displayName, std::string model) {
  displayName_ = std::move(displayName);
  model_ = std::move(model);
}

std::string* StorageComponent::findProperty(const std::string& key) {
  const auto found = std::find_if(properties_.begin(), properties_.end(),
                                  [&](const PropertyEntry& entry) { return entry.key == key; });
  return found == properties_.end() ? nullptr : &found->value;
}

bool StorageComponent::getReport(const std::string& key, std::string& value) {
  try {
    if (key == "protocol_type") {
      if (protocol_ == nullptr) {
        return false;
      }
      switch (protocol_->GetProtocolKind()) {
        case ProtocolKind::Ata:
          value = "ata";
          return true;
        case ProtocolKind::Scsi:
          value = "scsi";
          return true;
        case ProtocolKind::Nvme:
        case ProtocolKind::NvmeScsi:
        case ProtocolKind::NvmeSystemCall:
          value = "nvme";
          return true;
        default:
          return false;
      }
    }
    if (key == "SMART") {
      return makeSmartReport(*this, value);
    }
    if (key == "HEALTH") {
      return makeHealthReport(*this, value);
    }
    if (key == "POWER") {
      return makePowerReport(*this, value);
    }
    if (key == "WAKE") {
      return makeWakeReport(*this, value);
    }
    if (key == "IDENTITY") {
      return makeIdentityReport(*this, value);
    }
    if (key == "RECORDING" || key == "RECORDING_MASKED") {
      return makeRecordingReport(*this, key != "RECORDING", value);
    }
    if (key == "SELF_TEST_TIMES") {
      return makeSelfTestReport(*this, value);
    }
    if (key == "RAID_SETS") {
      value = "[" + raidSets_ + "]";
      return !raidSets_.empty();
    }
    if (key == "READ_TIMES") {
      value = readTimes_.rows();
      return true;
    }
    if (key == "OSTRIA_LOG_PAGE") {
      return makeVendorLogReport(*this, value);
    }
  } catch (...) {
    // The host gets an answer, never an exception: the report cannot be had.
  }
  return false;
}

bool StorageComponent::hasConfirmedTest(const Identifier& test) {
  return std::find(confirmedTests_.begin(), confirmedTests_.end(), test) != confirmedTests_.end();
}

void StorageComponent::restartReadTimes() {
  StorageProtocolProperties device;
  if (protocol_ != nullptr && succeeded(protocol_->GetCachedProperties(&device))) {
    readTimes_.restart(device);
  }
}

template <typename Read>
ProtocolResult StorageComponent::timed(std::uint64_t lba, std::uint16_t count, const Read& read) {
  Timer& timer = *get_timer();
  const std::int64_t before = timer.clock();
  const ProtocolResult result = read();
  readTimes_.add(lba, count, timer.secondsBetween(before, timer.clock()), result);
  return result;
}

ProtocolResult StorageComponent::readSectors(std::uint64_t lba, std::uint16_t count, void* buffer,
                                             bool direct, std::uint32_t bufferBytes,
                                             std::uint32_t timeoutSeconds) {
  return timed(lba, count, [&] {
    return readUntimed(lba, count, buffer, direct, bufferBytes, timeoutSeconds);
  });
}

ProtocolResult StorageComponent::readUntimed(std::uint64_t lba, std::uint16_t count, void* buffer,
                                             bool direct, std::uint32_t bufferBytes,
                                             std::uint32_t timeoutSeconds) {
  if (!direct && connection_ != DeviceConnection::RaidMember) {
    return readVolume(lba, count, buffer, bufferBytes, kReadTimeoutSeconds);
  }
  // The protocol reads with the sector size of its cache, which each look at the device refreshes.
  if (buffer == nullptr || !fits(count, protocol_->cachedSectorSize(), bufferBytes)) {
    return ProtocolResult::InvalidArgument;
  }
  return protocol_->Read(lba, count, timeoutSeconds, buffer, bufferBytes);
}

ProtocolResult StorageComponent::readVolume(std::uint64_t lba, std::uint16_t count, void* buffer,
                                            std::uint32_t bufferBytes,
                                            std::uint32_t timeoutSeconds) {
  const std::uint64_t sectorBytes = volumeSectorBytes(lba, count, bufferBytes);
  if (buffer == nullptr || sectorBytes == 0) {
    return ProtocolResult::InvalidArgument;
  }
  std::uint64_t done = 0;
  return getLocalFilesystem().readAt(protocol_->GetDeviceHandle(), lba * sectorBytes,
                                     count * sectorBytes, &done, timeoutSeconds, buffer);
}

std::uint64_t StorageComponent::volumeSectorBytes(std::uint64_t lba, std::uint16_t count,
                                                  std::uint32_t bufferBytes) const {
  const std::uint32_t sectorBytes = protocol_->cachedSectorSize();
  if (sectorBytes < kSmallestSectorBytes || !fits(count, sectorBytes, bufferBytes)) {
    return 0;
  }
  // An offset that does not fit would wrap round to a sector that nobody asked for.
  return lba > std::numeric_limits<std::uint64_t>::max() / sectorBytes ? 0 : sectorBytes;
}

ProtocolResult StorageComponent::readSectors(std::uint64_t lba, std::uint16_t count,
                                             TransferBuffer& buffer, bool direct,
                                             std::uint32_t bufferBytes,
                                             std::uint32_t timeoutSeconds) {
  return timed(lba, count, [&] {
    return readUntimed(lba, count, buffer, direct, bufferBytes, timeoutSeconds);
  });
}

ProtocolResult StorageComponent::readUntimed(std::uint64_t lba, std::uint16_t count,
                                             TransferBuffer& buffer, bool direct,
                                             std::uint32_t bufferBytes,
                                             std::uint32_t timeoutSeconds) {
  if (bufferBytes > buffer.size() || !buffer.renew()) {
    return ProtocolResult::InvalidArgument;
  }
  if (direct || connection_ == DeviceConnection::RaidMember) {
    return readUntimed(lba, count, buffer.data(), true, bufferBytes, timeoutSeconds);
  }
  const std::uint64_t sectorBytes = volumeSectorBytes(lba, count, bufferBytes);
  if (sectorBytes == 0) {
    return ProtocolResult::InvalidArgument;
  }
  std::uint64_t done = 0;
  return getLocalFilesystem().readInto(protocol_->GetDeviceHandle(), lba * sectorBytes,
                                       count * sectorBytes, &done, kReadTimeoutSeconds, buffer);
}

std::uint16_t StorageComponent::preferredReadBlock() {
  if (preferredReadBlock_ != 0) {
    return preferredReadBlock_;
  }

  StorageProtocolProperties properties;
  if (!succeeded(protocol_->GetCachedProperties(&properties))) {
    preferredReadBlock_ = kReadBlockCandidates.front();
    return preferredReadBlock_;
  }
  const std::uint32_t sectorSize = std::max(properties.logicalSectorSize, kSmallestSectorBytes);
  for (const std::uint16_t candidate : kReadBlockCandidates) {
    const std::uint64_t bytes = std::uint64_t{candidate} * sectorSize;
    if (bytes > kLargestBlockBytes) {
      continue;
    }
    // The largest blocks may be more than a small machine has; the next is half of it.
    TransferBuffer buffer;
    if (!buffer.make(static_cast<std::size_t>(bytes))) {
      continue;
    }
    const auto readOnce = [&] {
      return readUntimed(0, candidate, buffer, false, static_cast<std::uint32_t>(bytes),
                         kReadTimeoutSeconds);
    };
    int successes = 0;
    while (successes < kReadsPerCandidate && succeeded(readOnce())) {
      ++successes;
    }
    if (successes == kReadsPerCandidate) {
      preferredReadBlock_ = candidate;
      break;
    }
  }
  return preferredReadBlock_;
}

ProtocolResult StorageComponent::controllerFatalStatus(bool* fatal) {
  if (busKind_ != StorageBusKind::Nvme) {
    return ProtocolResult::NotSupported;
  }
  ZRDService* service = driverService_.usableService();
  if (service == nullptr) {
    return ProtocolResult::Failure;
  }
  const PciLocation location{pciBus_, pciDevice_, pciFunction_};
  const std::uint64_t offset = kControllerStatusRegister;
  std::uint32_t value = 0;
  std::uint32_t length = sizeof(value);
  std::uint8_t flag = 0;
  // All ones are what a controller reads as that has left the bus: the register has no such state.
  if (service->ReadControllerRegister(&location, &offset, &length, &flag, &value) != 0 ||
      length != sizeof(value) || value == ~std::uint32_t{0}) {
    return ProtocolResult::Failure;
  }
  *fatal = (value & kControllerFatalStatusBit) != 0;
  return ProtocolResult::Success;
}

/// The volumes as the system has them now: what was mounted since the scan counts too.
std::vector<std::string> StorageComponent::mountedVolumes(std::vector<std::string>& users) {
  if (protocol_ != nullptr && protocol_->GetDeviceHandle()) {
    if (auto use = findDiskUse(protocol_->GetDeviceHandle())) {
      users = std::move(use->users);
      return std::move(use->volumes);
    }
  }
  std::vector<std::string> roots;
  if (partitions_ != nullptr) {
    for (const PartitionEntry& partition : partitions_->partitions) {
      roots.insert(roots.end(), partition.mountPoints.begin(), partition.mountPoints.end());
    }
  }
  return roots;
}

std::vector<std::string> StorageComponent::unmountPartitions() {
  std::vector<std::string> refused;
  const std::vector<std::string> roots = mountedVolumes(refused);
  // With a user that stays, taking volumes off line would disturb the system for nothing.
  if (!refused.empty()) {
    return refused;
  }
  if (offlineScanner_ == nullptr) {
    offlineScanner_ = makeStorageScanner();
  }
  // What is off line must never be forgotten for lack of memory: there is room to note it before.
  std::vector<DeviceHandle> held;
  held.reserve(roots.size());
  lostVolumes_.reserve(lostVolumes_.size() + 2 * roots.size());
  offlineVolumes_.reserve(roots.size());
  for (const std::string& root : roots) {
    OfflineVolume volume{root, {}};
    switch (offlineScanner_->dismountVolume(root, &volume.handle)) {
      case 0:
        held.push_back(volume.handle);
        offlineVolumes_.push_back(std::move(volume));
        break;
      case StorageScanner::kNotMountedAgain:
        lostVolumes_.push_back(std::move(volume.name));
        [[fallthrough]];
      default:
        refused.push_back(root);
    }
  }
  if (refused.empty() && protocol_ != nullptr && protocol_->GetDeviceHandle()) {
    std::string user;
    claim_ = claimDisk(protocol_->GetDeviceHandle(), held, &user);
    if (claim_ == nullptr) {
      refused.push_back(user);
    }
  }
  return refused;
}

std::vector<std::string> StorageComponent::remountPartitions() {
  claim_.reset();
  // Last taken, first back: a volume mounted inside another returns after the outer one. Each
  // leaves the list before it is given back, so that none is given back twice should memory fail.
  while (!offlineVolumes_.empty()) {
    OfflineVolume volume = std::move(offlineVolumes_.back());
    offlineVolumes_.pop_back();
    std::string name;
    std::vector<std::string> list;
    std::string text;
    const int error = offlineScanner_->releaseVolume(name, list, volume.handle, text);
    if (error != 0) {
      lostVolumes_.push_back(std::move(volume.name));
      const std::string reason = offlineScanner_->reasonOf(error);
      lostVolumes_.back() += reason.empty() ? "" : " (" + reason + ")";
    }
  }
  offlineScanner_.reset();
  return std::exchange(lostVolumes_, {});
}

}  // namespace ostria::storage
