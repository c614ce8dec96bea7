#include "diagnostics/surface/full_disk_scan.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>

#include "checks/message_keys.h"
#include "diagnostics/surface/scan_parameters.h"

namespace ostria::storage {

FullDiskScanTest::FullDiskScanTest(const Identifier& id)
    : StorageTest(id), parameterList_{describe(kErrorLimitParameter)} {}

bool FullDiskScanTest::setParameters(const std::vector<TestParameter>& parameters,
                                     std::vector<ParameterIssue>& issues) {
  static constexpr std::array<const ScanParameter*, 1> kNown = {&kErrorLimitParameter};
  issues.clear();
  refuseUnknown(parameters, kNown, issues);
  takeParameter(kErrorLimitParameter, parameters, &errorLimit_, issues);
  return issues.empty();
}

void FullDiskScanTest::resetParameters() { errorLimit_ = kErrorLimitParameter.defaultValue; }

TestResult FullDiskScanTest::check(StorageComponent* component, TestListener* listener,
                                   MessageLog* log) {
  const bool complete = component != nullptr && component->storageProtocol() != nullptr &&
                        listener != nullptr && log != nullptr;
  return complete ? TestResult::Passed : TestResult::CouldNotStart;
}

TestResult FullDiskScanTest::prepare(StorageComponent* component, TestListener* listener,
                                     MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return checkReadyToRead(component, listener, log) ? TestResult::Passed
                                                    : TestResult::CouldNotStart;
}

TestResult FullDiskScanTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  if (prepare(component_, listener_, log_) != TestResult::Passed) {
    return TestResult::NotPerformed;
  }
  if (checkStopNoted(context, true)) {
    return TestResult::Stopped;
  }

  std::vector<TestParameter> chosen;
  std::vector<ParameterIssue> issues;
  context->parameters(chosen);
  if (!setParameters(chosen, issues)) {
    progress(100, issueText(issues));
    return TestResult::Stopped;
  }

  protocol_ = component_->storageProtocol();
  // The device was found ready, so it has sectors.
  const std::uint64_t last = cachedProperties(protocol_).totalSectors - 1;
  std::string closing;
  const TestResult result = scan(0, last, closing);
  if (!closing.empty()) {
    log_->add(closing, Statement, 0);
  }
  progress(100, closing);
  return result;
}

TestResult FullDiskScanTest::scan(std::uint64_t first, std::uint64_t last, std::string& closing) {
  badBlocks_.clear();
  const std::uint64_t blockSectors = component_->preferredReadBlock();
  const std::uint64_t blockBytes = blockSectors * sectorBufferBytes(cachedProperties(protocol_));
  if (blockBytes > std::numeric_limits<std::uint32_t>::max()) {
    return TestResult::Stopped;
  }
  const std::unique_ptr<std::uint8_t[]> buffer(
      new (std::nothrow) std::uint8_t[static_cast<std::size_t>(blockBytes)]());
  if (buffer == nullptr) {
    return TestResult::Stopped;
  }

  progress(0);
  const TestResult result = first > last
                                ? TestResult::Passed
                                : scanBlocks(first, last, blockSectors, buffer.get(),
                                             static_cast<std::uint32_t>(blockBytes), closing);
  if (result != TestResult::Passed || badBlocks_.empty()) {
    return result;
  }
  closing = badBlockText(badBlocks_, blockSectors);
  return TestResult::Failed;
}

TestResult FullDiskScanTest::scanBlocks(std::uint64_t first, std::uint64_t last,
                                        std::uint64_t blockSectors, std::uint8_t* buffer,
                                        std::uint32_t blockBytes, std::string& closing) {
  const double distance = static_cast<double>(std::max<std::uint64_t>(last - first, 1));
  int lastReported = 0;
  for (std::uint64_t lba = first;; lba += blockSectors) {
    if (errorLimit_ != 0 && badBlocks_.size() >= errorLimit_) {
      progress(100);
      return TestResult::Passed;
    }
    const std::uint64_t count = clampReadCount(last, blockSectors, lba);
    if (count == 0) {
      return TestResult::CouldNotStart;
    }
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    const ProtocolResult error = component_->readSectors(
        lba, static_cast<std::uint16_t>(count), buffer, false, blockBytes, readTimeoutSeconds_);
    if (!succeeded(error)) {
      const TestResult result = judgeError(lba, error, closing);
      if (result != TestResult::Passed) {
        return result;
      }
    }
    const int percent = static_cast<int>(static_cast<double>(lba - first) * 100.0 / distance);
    if (percent > lastReported) {
      progress(static_cast<std::uint8_t>(percent));
      lastReported = percent;
    }
    if (last - lba < blockSectors) {
      return TestResult::Passed;
    }
  }
}

TestResult FullDiskScanTest::judgeError(std::uint64_t lba, ProtocolResult error,
                                        std::string& closing) {
  // A disk that has left the bus has no bad block.
  if (!protocol_->IsAccessible()) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, MissingCapability);
    return TestResult::Stopped;
  }
  switch (error) {
    case ProtocolResult::InterfaceCrcError:
    case ProtocolResult::MediumError:
      badBlocks_.push_back(lba);
      return TestResult::Passed;
    case ProtocolResult::CommandRejected:
      logThenShow(listener_, log_, keys::kPasswordProtected, Statement);
      return TestResult::Stopped;
    case ProtocolResult::ReadTimeout:
      logThenShow(listener_, log_, keys::kReadOperationTimeout, Statement);
      return TestResult::Failed;
    default:
      closing = keys::kDeviceCommunicationFailure;
      return TestResult::Stopped;
  }
}

}  // namespace ostria::storage
