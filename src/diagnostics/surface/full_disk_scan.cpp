// Reads go through the operating system, which works for every bus; a block that fails is not
// searched for its bad sector, since the list names blocks.
#include "diagnostics/surface/full_disk_scan.h"

#include <algorithm>
#include <array>
#include <limits>

#include "checks/message_keys.h"
#include "checks/read_block.h"
#include "diagnostics/surface/scan_parameters.h"

namespace ostria::storage {

FullDiskScanTest::FullDiskScanTest(const Identifier& id)
    : StorageTest(id), parameterList_{describe(kErrorLimitParameter)} {}

bool FullDiskScanTest::setParameters(const std::vector<TestParameter>& parameters,
                                     std::vector<ParameterIssue>& issues) {
  static constexpr std::array<const ScanParameter*, 1> kKnown = {&kErrorLimitParameter};
  issues.clear();
  refuseUnknown(parameters, kKnown, issues);
  // What is refused stands in the issues.
  (void)takeParameter(kErrorLimitParameter, parameters, &errorLimit_, issues);
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
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  Scan state;
  // The device was found ready, so it has sectors.
  state.last = properties.totalSectors - 1;
  state.sectorBytes = properties.logicalSectorSize;
  const TestResult result = scan(state);
  if (!state.closing.empty()) {
    log_->add(state.closing, Statement, 0);
  }
  progress(100, state.closing);
  return result;
}

TestResult FullDiskScanTest::scan(Scan& scan) {
  scan.blockSectors = chooseReadBlock(*component_);
  if (scan.blockSectors == 0) {
    scan.closing = keys::kDeviceCommunicationFailure;
    return TestResult::Stopped;
  }
  const std::uint64_t blockBytes = std::uint64_t{scan.blockSectors} * scan.sectorBytes;
  if (blockBytes > std::numeric_limits<std::uint32_t>::max()) {
    return TestResult::Stopped;
  }
  TransferBuffer buffer;
  if (!buffer.make(static_cast<std::size_t>(blockBytes))) {
    return TestResult::Stopped;
  }

  progress(0);
  const TestResult result = scanBlocks(scan, buffer, static_cast<std::uint32_t>(blockBytes));
  if (result != TestResult::Passed || scan.bad.count() == 0) {
    return result;
  }
  scan.closing = scan.bad.text(scan.blockSectors);
  return TestResult::Failed;
}

TestResult FullDiskScanTest::scanBlocks(Scan& scan, TransferBuffer& buffer,
                                        std::uint32_t bufferBytes) {
  const double distance = static_cast<double>(std::max<std::uint64_t>(scan.last, 1));
  int lastReported = 0;
  for (std::uint64_t lba = 0;; lba += scan.blockSectors) {
    if (errorLimit_ != 0 && scan.bad.count() >= errorLimit_) {
      progress(100);
      return TestResult::Passed;
    }
    const std::uint64_t count = clampReadCount(scan.last, scan.blockSectors, lba);
    if (count == 0) {
      return TestResult::CouldNotStart;
    }
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    const ProtocolResult error = component_->readSectors(
        lba, static_cast<std::uint16_t>(count), buffer, false, bufferBytes, readTimeoutSeconds_);
    if (!succeeded(error)) {
      const TestResult result = judgeError(lba, error, scan);
      if (result != TestResult::Passed) {
        return result;
      }
    }
    const int percent = static_cast<int>(static_cast<double>(lba) * 100.0 / distance);
    if (percent > lastReported) {
      progress(static_cast<std::uint8_t>(percent));
      lastReported = percent;
    }
    if (scan.last - lba < scan.blockSectors) {
      return TestResult::Passed;
    }
  }
}

TestResult FullDiskScanTest::judgeError(std::uint64_t lba, ProtocolResult error, Scan& scan) {
  // A device that is gone has no bad block; one that comes back with sectors of another size is
  // another device, or none that can be judged.
  if (!protocol_->IsAccessible() ||
      cachedProperties(protocol_).logicalSectorSize != scan.sectorBytes) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, MissingCapability);
    return TestResult::Stopped;
  }
  switch (error) {
    case ProtocolResult::InterfaceCrcError:
    case ProtocolResult::MediumError:
      scan.bad.add(lba);
      return TestResult::Passed;
    case ProtocolResult::CommandRejected:
      logThenShow(listener_, log_, keys::kPasswordProtected, Statement);
      return TestResult::Stopped;
    case ProtocolResult::ReadTimeout:
      logThenShow(listener_, log_, keys::kReadOperationTimeout, Statement);
      return TestResult::Failed;
    default:
      scan.closing = keys::kDeviceCommunicationFailure;
      return TestResult::Stopped;
  }
}

}  // namespace ostria::storage
