// Alternating between the two ends makes the head travel the whole surface first and less with each
// step, which shows trouble of the positioner that reads in order never meet.
#include "diagnostics/surface/funnel_seek.h"

#include <algorithm>

#include "checks/message_keys.h"
#include "diagnostics/surface/seek_checks.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

constexpr std::uint64_t kHeadSectors = 100;
constexpr std::uint64_t kTailDistance = 100;  // from the first sector of the tail to the last

}  // namespace

TestResult FunnelSeekTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  TestResult result = prepare(component_, listener_, log_);
  if (result == TestResult::Passed) {
    run_ = {};
    result = seek();
    if (run_.badSectors.size() >= 2) {
      result = TestResult::Failed;
    }
  }
  progress(100);
  // A disk that has left the bus is no disk with a bad sector.
  if ((result == TestResult::Failed || result == TestResult::NotPerformed) &&
      !protocol_->IsAccessible()) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, MissingCapability);
    return TestResult::Stopped;
  }
  return close(result);
}

TestResult FunnelSeekTest::seek() {
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  run_.bufferBytes = sectorBufferBytes(properties);
  const std::uint64_t last = std::max<std::uint64_t>(properties.totalSectors, 1) - 1;
  progress(0);
  TestResult result = readRun(0, std::min(kHeadSectors - 1, last));
  if (result == TestResult::Passed) {
    result = funnel(last);
  }
  if (result == TestResult::Passed && last >= kTailDistance) {
    result = readRun(last - kTailDistance, last);
  }
  return result;
}

TestResult FunnelSeekTest::readRun(std::uint64_t first, std::uint64_t last) {
  for (std::uint64_t lba = first; lba <= last; ++lba) {
    const TestResult result = readOne(lba, 0);
    if (result != TestResult::Passed) {
      return close(result);
    }
  }
  return TestResult::Passed;
}

TestResult FunnelSeekTest::funnel(std::uint64_t last) {
  if (last == 0) {
    return TestResult::Passed;
  }
  const float share = static_cast<float>(last + 1) * sliceFraction_;
  // Of a small disk a slice is one sector, so that each step draws from something and moves on.
  const std::uint64_t slice = std::max<std::uint64_t>(static_cast<std::uint64_t>(share), 1);
  auto percent = static_cast<std::uint8_t>(10000.0 / (static_cast<float>(last) + 100.0));
  std::uint8_t lastReported = 0;
  NumberHandler& numbers = *get_number_handler();
  numbers.seedRandom(static_cast<std::uint32_t>(get_time_handler()->now()));

  std::uint64_t low = 0;
  std::uint64_t high = last;
  while (low < last) {
    if (checkStop(context_)) {
      return TestResult::Stopped;
    }
    const std::uint64_t down = high - std::min(high, slice);
    TestResult result = readOne(down + numbers.random(high - down), percent);
    high = down;
    if (result == TestResult::Passed) {
      const std::uint64_t up = slice > last - low ? last : low + slice;
      result = readOne(low + numbers.random(up - low), percent);
      low = up;
    }
    if (result != TestResult::Passed) {
      return close(result);
    }
    percent =
        static_cast<std::uint8_t>(static_cast<double>(low) / static_cast<double>(last) * 99.0);
    if (percent != lastReported) {
      progress(percent);
      lastReported = percent;
    }
    if (down == 0) {
      break;
    }
  }
  return TestResult::Passed;
}

TestResult FunnelSeekTest::readOne(std::uint64_t lba, std::uint8_t percent) {
  const ProtocolResult error = readSector(lba, run_.bufferBytes);
  if (succeeded(error)) {
    return TestResult::Passed;
  }
  return reportReadError(lba, error, percent, badSectorLimit_, run_.badSectors,
                         context_->listener(), context_->messageLog());
}

TestResult QuickFunnelSeekTest::check(StorageComponent* component, TestListener* listener,
                                      MessageLog* log) {
  return checkQuickSeek(component, listener, log);
}

TestResult QuickFunnelSeekTest::prepare(StorageComponent* component, TestListener* listener,
                                        MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  return checked == TestResult::Passed ? prepareQuickSeek(component, listener, log) : checked;
}

TestResult ExtendedFunnelSeekTest::check(StorageComponent* component, TestListener* listener,
                                         MessageLog* log) {
  const TestResult checked = checkInternalScsi(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return checkSeekable(component, listener, log) ? TestResult::Passed : TestResult::NotPerformed;
}

TestResult ExtendedFunnelSeekTest::prepare(StorageComponent* component, TestListener* listener,
                                           MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  return checked == TestResult::Passed ? prepareExtendedSeek(component) : checked;
}

}  // namespace ostria::storage
