#include "diagnostics/device_io/device_read.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "base/sector_size.h"
#include "checks/message_keys.h"
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

bool parseWhole(const std::string& text, std::uint64_t& value) {
  const char* end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end) {
    return false;
  }
  value = number;
  return true;
}

}  // namespace

bool StorageDeviceReadTest::configure(ConfigurationMap configuration, ConfigurationError* error) {
  const auto section = configuration.find(kStorageSection);
  if (section == configuration.end()) {
    return true;
  }
  const auto refuse = [&](const char* key, std::uint32_t code) {
    if (error != nullptr) {
      error->code = code;
      error->key = key;
      error->section = kStorageSection;
    }
    return false;
  };

  struct Size {
    const char* key;
    std::uint64_t& value;
    std::uint8_t flag;
  };
  for (const Size& size : {Size{kInitialSizeKey, initialSizeGiB_, Initial},
                           Size{kCentralSizeKey, centralSizeGiB_, Central},
                           Size{kFinalSizeKey, finalSizeGiB_, Final}}) {
    const auto found = section->second.find(size.key);
    if (found == section->second.end()) {
      continue;
    }
    if (!parseWhole(found->second, size.value)) {
      return refuse(size.key, ConfigurationError::NotANumber);
    }
    configured_ = static_cast<std::uint8_t>(configured_ | size.flag);
  }

  const auto whole = section->second.find(kWholeDiskKey);
  if (whole == section->second.end()) {
    return true;
  }
  std::uint64_t value = 0;
  if (!parseWhole(whole->second, value)) {
    return refuse(kWholeDiskKey, ConfigurationError::NotANumber);
  }
  if (value > 1) {
    return refuse(kWholeDiskKey, ConfigurationError::OutOfRange);
  }
  wholeDiskRead_ = value == 1;
  configured_ = static_cast<std::uint8_t>(configured_ | WholeDisk);
  return true;
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
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    progress(static_cast<std::uint8_t>(i * 100 / stretches.size()));
    const TestResult result = readStretch(stretches[i]);
    if (result != TestResult::Passed) {
      return result;
    }
  }
  progress(100);
  return TestResult::Passed;
}

void StorageDeviceReadTest::tell(const std::string& text) {
  progress(0, text);
  log_->add(text, Statement, 0);
}

std::vector<StorageDeviceReadTest::Stretch> StorageDeviceReadTest::layOut(
    const StorageProtocolProperties& properties) {
  const std::uint64_t total = properties.totalSectors;
  if ((configured_ & WholeDisk) != 0) {
    tell(keyColonNumber(kWholeDiskKey, wholeDiskRead_ ? 1 : 0));
  }
  // Without a sector there is nothing to lay out; reading "0 to -1" is refused as impossible.
  if (wholeDiskRead_ || total == 0) {
    return {{0, total - 1}};
  }

  // A size beyond a fourth of all addresses is beyond the disk, and three of them still add up.
  const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() / 4;
  const double perGiB = 1073741824.0 / properties.logicalSectorSize;
  std::uint64_t first = sectorsOf(initialSizeGiB_, perGiB, most);
  std::uint64_t central = sectorsOf(centralSizeGiB_, perGiB, most);
  std::uint64_t final = sectorsOf(finalSizeGiB_, perGiB, most);
  if (total < first + central + final) {
    first = shareOf(total, 0.2F);
    central = shareOf(total, 0.5F);
    final = shareOf(total, 0.3F);
  }

  std::vector<Stretch> stretches;
  if (first != 0) {
    stretches.push_back({0, first - 1});
  }
  if (central != 0) {
    const std::uint64_t mid = (total - final + first) / 2;
    const std::uint64_t half = central / 2;
    stretches.push_back({mid - half, mid + half});
  }
  if (final != 0) {
    stretches.push_back({total - final, total - 1});
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
    tell(std::string(size.key) + ": " + number);
  }
  return stretches;
}

TestResult StorageDeviceReadTest::readStretch(const Stretch& stretch) {
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
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(blockSectors * sectorSize));

  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  // A stretch ends before its last sector.
  for (std::uint64_t lba = stretch.first; lba < stretch.last;) {
    const std::uint64_t count = std::min(stretch.last - lba, blockSectors);
    const ProtocolResult result =
        component_->readSectors(lba, static_cast<std::uint16_t>(count), buffer.data(), false,
                                static_cast<std::uint32_t>(buffer.size()), readTimeoutSeconds_);
    if (succeeded(result)) {
      lba += count;
      if (lba < stretch.last && checkStopNoted(context_, true)) {
        return TestResult::Stopped;
      }
      continue;
    }
    if (result == ProtocolResult::ReadTimeout) {
      log_->add(keys::kReadOperationTimeout, DeviceFault, 0);
      return TestResult::Failed;
    }
    const std::string words =
        std::string(keys::kBadSectorsFound) + " " + keys::kBadSectorsInRange + " ";
    const std::string from = std::to_string(lba);
    const std::string to = std::to_string(lba + count);
    progress(100, words + "[" + from + ", " + to + "]");
    log_->add(words + from + " and " + to, DeviceFault, 0);
    return TestResult::Failed;
  }
  return TestResult::Passed;
}

}  // namespace ostria::storage
