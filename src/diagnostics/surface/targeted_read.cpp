// A drive that had trouble wrote down where. The neighbours are read, too: damage of a surface
// rarely stops at one sector.
#include "diagnostics/surface/targeted_read.h"

#include <algorithm>
#include <array>

#include "checks/message_keys.h"
#include "diagnostics/surface/error_log_targets.h"
#include "transport/ata/ata_protocol.h"

namespace ostria::storage {

namespace {

/// Sectors to read on either side of a target.
constexpr std::uint64_t kNeighbours = 15;

/// The sectors within the neighbourhood of the targets that the disk has. `totalSectors` is not 0.
std::set<std::uint64_t> neighbourhood(const std::set<std::uint64_t>& targets,
                                      std::uint64_t totalSectors) {
  std::set<std::uint64_t> sectors;
  const std::uint64_t last = totalSectors - 1;
  for (const std::uint64_t target : targets) {
    if (target > last) {
      break;  // a stale log names sectors that are no more
    }
    const std::uint64_t from = target - std::min(target, kNeighbours);
    const std::uint64_t to = target + std::min(last - target, kNeighbours);
    for (std::uint64_t lba = from; lba <= to; ++lba) {
      sectors.insert(lba);
    }
  }
  return sectors;
}

}  // namespace

TestResult TargetedReadTest::check(StorageComponent* component, TestListener* listener,
                                   MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (component->storageProtocol()->GetProtocolKind() != ProtocolKind::Ata) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  if (!cachedProperties(component->storageProtocol()).smartSupported) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  return checkSeekable(component, listener, log) ? TestResult::Passed : TestResult::NotPerformed;
}

TestResult TargetedReadTest::prepare(StorageComponent* component, TestListener* listener,
                                     MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  const StorageProtocolProperties properties = cachedProperties(component->storageProtocol());
  if (properties.securitySupported && properties.securityLocked) {
    logThenShow(listener, log, passwordText(), Statement);
    return TestResult::NotPerformed;
  }
  if (component->connection() != DeviceConnection::RaidMember) {
    wakeByReading(*component);
  }
  return enableSmart(*component, listener, log);
}

TestResult TargetedReadTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  return close(restoringSmart([this] {
    const TestResult prepared = prepare(component_, listener_, log_);
    return prepared == TestResult::Passed ? readTargets() : prepared;
  }));
}

TestResult TargetedReadTest::readTargets() {
  progress(0);
  auto* ata = dynamic_cast<AtaProtocol*>(protocol_);
  if (ata == nullptr) {
    return TestResult::CouldNotStart;
  }
  std::set<std::uint64_t> targets;
  const TestResult collected = collect(*ata, targets);
  return collected == TestResult::Passed ? readAround(targets) : collected;
}

TestResult TargetedReadTest::collect(AtaProtocol& ata, std::set<std::uint64_t>& targets) {
  const bool lba48 = cachedProperties(&ata).lba48Supported;
  for (const ErrorLog& log : kErrorLogs) {
    if (log.needsLba48 && !lba48) {
      continue;
    }
    if (!checkStop(context_)) {
      collectTargets(ata, log, targets);
    }
  }
  if (checkStop(context_)) {
    return TestResult::Stopped;
  }
  if (targets.empty()) {
    return refuse(listener_, log_, keys::kCannotReadLogs, Statement);
  }
  return TestResult::Passed;
}

TestResult TargetedReadTest::readAround(const std::set<std::uint64_t>& targets) {
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  if (properties.totalSectors == 0) {
    logThenShow(listener_, log_, keys::kDeviceCommunicationFailure, DeviceFault);
    return TestResult::Stopped;
  }
  const std::uint32_t bufferBytes = sectorBufferBytes(properties);
  const std::set<std::uint64_t> sectors = neighbourhood(targets, properties.totalSectors);
  std::set<std::uint64_t> badSectors;
  std::uint8_t lastReported = 0;
  std::uint64_t count = 0;
  for (const std::uint64_t lba : sectors) {
    ++count;
    if (checkStop(context_)) {
      return TestResult::Stopped;
    }
    const ProtocolResult error = readSector(lba, bufferBytes);
    if (!succeeded(error)) {
      const TestResult reported =
          reportReadError(lba, error, lastReported, 1, badSectors, listener_, log_);
      if (reported != TestResult::Passed) {
        return close(reported);
      }
    }
    const auto percent = static_cast<std::uint8_t>(static_cast<double>(count) /
                                                   static_cast<double>(sectors.size()) * 100.0);
    if (percent != lastReported) {
      progress(percent);
      lastReported = percent;
    }
  }
  return TestResult::Passed;
}

}  // namespace ostria::storage
