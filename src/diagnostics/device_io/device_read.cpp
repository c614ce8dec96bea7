// For devices that have no self-test of their own that a host can reach: some of the device, or all
// of it, is read through the operating system.
#include "diagnostics/device_io/device_read.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "base/sector_size.h"
#include "checks/message_keys.h"
#include "diagnostics/settings.h"
#include "services/config_file.h"
#include "services/number_handler.h"

namespace ostria::storage {

namespace {

constexpr char kInitialSizeKey[] = "INITIAL_SIZE";
constexpr char kCentralSizeKey[] = "CENTRAL_SIZE";
constexpr char kFinalSizeKey[] = "FINAL_SIZE";
constexpr char kWholeDiskKey[] = "WHOLE_DISK_READ";

// Sectors of so many GiB, at most `most`: a configured size may be beyond any disk.
std::uint64_t sectorsOf(std::uint64_t gib, double perGiB, std::uint64_t most) {
  const double sectors = static_cast<double>(gib) * perGiB;
  return sectors >= static_cast<double>(most) ? most : static_cast<std::uint64_t>(sectors);
}

std::uint64_t shareOf(std::uint64_t total, float share) {
  return static_cast<std::uint64_t>(static_cast<float>(total) * share);
}

}  // namespace

bool StorageDeviceReadTest::configure(ConfigurationMap configuration, ConfigurationError* error) {
  const auto section = configuration.find(kStorageSection);
  if (section == configuration.end()) {
    return true;
  }
  struct Size {
    const char* key;
    std::uint64_t& value;
    std::uint8_t flag;
  };
  constexpr std::uint64_t kAnySize = std::numeric_limits<std::uint64_t>::max();
  for (const Size& size : {Size{kInitialSizeKey, initialSizeGiB_, Initial},
                           Size{kCentralSizeKey, centralSizeGiB_, Central},
                           Size{kFinalSizeKey, finalSizeGiB_, Final}}) {
    switch (takeNumber(section->second, size.key, kAnySize, &size.value, error)) {
      case Setting::Unusable:
        return false;
      case Setting::Taken:
        configured_ = static_cast<std::uint8_t>(configured_ | size.flag);
        break;
      case Setting::Absent:
        break;
    }
  }

  std::uint64_t whole = 0;
  const Setting taken = takeNumber(section->second, kWholeDiskKey, 1, &whole, error);
  if (taken == Setting::Taken) {
    wholeDiskRead_ = whole == 1;
    configured_ = static_cast<std::uint8_t>(configured_ | WholeDisk);
  }
  return taken != Setting::Unusable;
}

TestResult StorageDeviceReadTest::check(StorageComponent* component, TestListener*, MessageLog*) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageBusKind bus = component->busKind();
  return bus == StorageBusKind::Emmc || bus == StorageBusKind::Nvme ? TestResult::Passed
                                                                    : TestResult::NotPerformed;
}

TestResult StorageDeviceReadTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  progress(0);
  const TestResult checked = check(component_, listener_, log_);
  return close(checked == TestResult::Passed ? read() : checked);
}

TestResult StorageDeviceReadTest::read() {
  progress(0);
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  if (properties.logicalSectorSize < kSmallestSectorBytes) {
    return TestResult::NotPerformed;
  }
  const std::vector<Stretch> stretches = layOut(properties);
  // Sizes that leave nothing to read leave no verdict either.
  if (stretches.empty()) {
    return TestResult::NotPerformed;
  }
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    progress(static_cast<std::uint8_t>(i * 100 / stretches.size()));
    // One stretch that is the whole disk would show nothing until its end.
    const TestResult result = readStretch(stretches[i], stretches.size() == 1);
    if (result != TestResult::Passed) {
      return result;
    }
  }
  progress(100);
  return TestResult::Passed;
}

void StorageDeviceReadTest::report(const std::string& text) {
  progress(0, text);
  log_->add(text, Statement, 0);
}

std::vector<StorageDeviceReadTest::Stretch> StorageDeviceReadTest::layOut(
    const StorageProtocolProperties& properties) {
  const std::uint64_t total = properties.totalSectors;
  if ((configured_ & WholeDisk) != 0) {
    report(keyColonNumber(kWholeDiskKey, wholeDiskRead_ ? 1 : 0));
  }
  // Without a sector there is nothing to lay out; reading "0 to -1" is refused as impossible.
  if (wholeDiskRead_ || total == 0) {
    return {{0, total - 1, true}};
  }

  // A size beyond a fourth of all addresses is beyond the disk, and three of them still add up.
  const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() / 4;
  const double perGiB = 1073741824.0 / properties.logicalSectorSize;
  std::uint64_t first = sectorsOf(initialSizeGiB_, perGiB, most);
  std::uint64_t central = sectorsOf(centralSizeGiB_, perGiB, most);
  std::uint64_t final = sectorsOf(finalSizeGiB_, perGiB, most);
  if (total < first + central + final) {
    first = shareOf(total, 0.2f);
    central = shareOf(total, 0.5f);
    final = shareOf(total, 0.3f);
    // Of so few sectors the shares are nothing, and the disk is read whole.
    if (first + central + final == 0) {
      return {{0, total - 1, true}};
    }
  }

  std::vector<Stretch> stretches;
  if (first != 0) {
    stretches.push_back({0, first - 1, true});
  }
  if (central != 0) {
    const std::uint64_t mid = (total - final + first) / 2;
    const std::uint64_t half = central / 2;
    stretches.push_back({mid - half, mid + half, false});
  }
  if (final != 0) {
    stretches.push_back({total - final, total - 1, true});
  }

  struct Size {
    const char* key;
    std::uint64_t value;
    std::uint8_t flag;
  };
  for (const Size& size : {Size{kInitialSizeKey, initialSizeGiB_, Initial},
                           Size{kCentralSizeKey, centralSizeGiB_, Central},
                           Size{kFinalSizeKey, finalSizeGiB_, Final}}) {
    if ((configured_ & size.flag) == 0) {
      continue;
    }
    std::string number;
    getLocalNumberHandler().formatUnsigned(number, size.value);
    report(std::string(size.key) + ": " + number);
  }
  return stretches;
}

TestResult StorageDeviceReadTest::readStretch(const Stretch& stretch, bool showsProgress) {
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  const std::uint32_t sectorSize = properties.logicalSectorSize;
  if (stretch.first > stretch.last || stretch.last >= properties.totalSectors ||
      sectorSize < kSmallestSectorBytes) {
    return TestResult::CouldNotStart;
  }

  // A device that could not be read at all when it was probed is read sector by sector: the first
  // one then tells.
  const std::uint64_t mostSectors = std::numeric_limits<std::uint32_t>::max() / sectorSize;
  const std::uint64_t blockSectors =
      std::clamp<std::uint64_t>(component_->preferredReadBlock(), 1, mostSectors);
  const auto bufferBytes = static_cast<std::uint32_t>(blockSectors * sectorSize);
  TransferBuffer buffer;
  if (!buffer.make(bufferBytes)) {
    return TestResult::CouldNotStart;
  }

  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  const std::uint64_t end = stretch.last + (stretch.readsLast ? 1 : 0);
  unsigned shown = 0;
  for (std::uint64_t lba = stretch.first; lba < end;) {
    const std::uint64_t count = std::min(end - lba, blockSectors);
    const ProtocolResult result = component_->readSectors(
        lba, static_cast<std::uint16_t>(count), buffer, false, bufferBytes, readTimeoutSeconds_);
    if (!succeeded(result)) {
      return judgeError(lba, lba + count, result, sectorSize);
    }
    lba += count;
    if (lba < end && checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    const auto percent = static_cast<unsigned>(static_cast<double>(lba - stretch.first) * 100.0 /
                                               static_cast<double>(end - stretch.first));
    if (showsProgress && percent > shown && percent < 100) {
      progress(static_cast<std::uint8_t>(percent));
      shown = percent;
    }
  }
  return TestResult::Passed;
}

TestResult StorageDeviceReadTest::judgeError(std::uint64_t first, std::uint64_t end,
                                             ProtocolResult error, std::uint32_t sectorBytes) {
  if (error == ProtocolResult::ReadTimeout) {
    log_->add(keys::kReadOperationTimeout, DeviceFault, 0);
    return TestResult::Failed;
  }
  if (error == ProtocolResult::CommandRejected) {
    logThenShow(listener_, log_, keys::kCannotAccessDevice, DeviceFault);
    return TestResult::NotPerformed;
  }
  // Only a device that is still there, and with sectors of the same size, has a bad block.
  const bool bad =
      error == ProtocolResult::MediumError || error == ProtocolResult::InterfaceCrcError;
  if (!bad || !protocol_->IsAccessible() ||
      cachedProperties(protocol_).logicalSectorSize != sectorBytes) {
    logThenShow(listener_, log_, keys::kDeviceCommunicationFailure, DeviceFault);
    return TestResult::Stopped;
  }
  const std::string words =
      std::string(keys::kBadSectorsFound) + " " + keys::kBadSectorsInRange + " ";
  progress(100, words + "[" + std::to_string(first) + ", " + std::to_string(end) + "]");
  log_->add(words + std::to_string(first) + " and " + std::to_string(end), DeviceFault, 0);
  return TestResult::Failed;
}

}  // namespace ostria::storage
