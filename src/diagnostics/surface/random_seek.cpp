// Single sectors, so that the time goes into seeks. The seed is new in each run: two runs read
// different sectors.
#include "diagnostics/surface/random_seek.h"

#include <algorithm>

#include "checks/message_keys.h"
#include "diagnostics/surface/seek_checks.h"
#include "services/sal.h"

namespace ostria::storage {

TestResult RandomSeekTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  TestResult result = prepare(component_, listener_, log_);
  if (result == TestResult::Passed) {
    std::set<std::uint64_t> badSectors;
    result = seek(badSectors);
    if (badSectors.size() >= 2) {
      result = TestResult::Failed;
    }
  }
  // A disk that has left the bus is no disk with a bad sector.
  if ((result == TestResult::Failed || result == TestResult::NotPerformed) &&
      !protocol_->IsAccessible()) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, MissingCapability);
    return TestResult::Stopped;
  }
  return close(result);
}

TestResult RandomSeekTest::seek(std::set<std::uint64_t>& badSectors) {
  progress(0);
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  const std::uint32_t bufferBytes = sectorBufferBytes(properties);
  // The last sector is never drawn, except from a disk that has no other.
  const std::uint64_t drawn = properties.totalSectors < 2 ? 1 : properties.totalSectors - 1;
  NumberHandler& numbers = *get_number_handler();
  numbers.seedRandom(static_cast<std::uint32_t>(get_time_handler()->now()));

  std::uint8_t percent = 0;
  std::uint8_t lastReported = 0;
  for (std::uint32_t i = 0;; ++i) {
    if (checkStop(context_)) {
      return TestResult::Stopped;
    }
    const std::uint64_t lba = numbers.random(drawn);
    const ProtocolResult error = readSector(lba, bufferBytes);
    if (!succeeded(error)) {
      const TestResult reported =
          reportReadError(lba, error, percent, badSectorLimit_, badSectors, listener_, log_);
      if (reported != TestResult::Passed) {
        return close(reported);
      }
    } else if (percent != lastReported) {
      progress(percent);
      lastReported = percent;
    }
    percent = static_cast<std::uint8_t>(100.0 / seekCount_ * i);
    if (percent == 100) {
      progress(100);
    }
    if (percent >= 100) {
      return TestResult::Passed;
    }
  }
}

TestResult QuickRandomSeekTest::check(StorageComponent* component, TestListener* listener,
                                      MessageLog* log) {
  return checkQuickSeek(component, listener, log);
}

TestResult QuickRandomSeekTest::prepare(StorageComponent* component, TestListener* listener,
                                        MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  return checked == TestResult::Passed ? prepareQuickSeek(component, listener, log) : checked;
}

TestResult ExtendedRandomSeekTest::check(StorageComponent* component, TestListener* listener,
                                         MessageLog* log) {
  const TestResult checked = checkInternalScsi(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  if (component->securitySupported() && component->securityLocked()) {
    logThenShow(listener, log, passwordText(), Statement);
    return TestResult::NotPerformed;
  }
  return TestResult::Passed;
}

TestResult ExtendedRandomSeekTest::prepare(StorageComponent* component, TestListener* listener,
                                           MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  return checked == TestResult::Passed ? prepareExtendedSeek(component) : checked;
}

}  // namespace ostria::storage
