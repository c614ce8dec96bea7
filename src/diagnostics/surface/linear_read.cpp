#include "diagnostics/surface/linear_read.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "checks/message_keys.h"
#include "diagnostics/surface/scan_parameters.h"

namespace ostria::storage {

namespace {

std::mt19937_64 generator(static_cast<std::uint64_t>(std::time(nullptr)));

constexpr std::uint64_t kSmallestBlock = 127;  // that the search for a block size tries

std::uint64_t share(std::uint64_t whole, double percent) {
  return static_cast<std::uint64_t>(static_cast<double>(whole) * percent * 0.01);
}

}  // namespace

LinearReadTest::LinearReadTest(const Identifier& id)
    : StorageTest(id),
      parameterList_{describe(kStartRangeParameter), describe(kStopRangeParameter),
                     describe(kCoverageAreaParameter), describe(kErrorLimitParameter)} {}

bool LinearReadTest::setParameters(const std::vector<TestParameter>& parameters,
                                   std::vector<ParameterIssue>& issues) {
  static constexpr std::array<const ScanParameter*, 4> kNown = {
      &kStartRangeParameter, &kStopRangeParameter, &kCoverageAreaParameter, &kErrorLimitParameter};
  issues.clear();
  refuseUnknown(parameters, kNown, issues);
  const bool startTaken = takeParameter(kStartRangeParameter, parameters, &startPercent_, issues);
  const bool stopTaken = takeParameter(kStopRangeParameter, parameters, &stopPercent_, issues);
  takeParameter(kCoverageAreaParameter, parameters, &coveragePercent_, issues);
  takeParameter(kErrorLimitParameter, parameters, &errorLimit_, issues);
  if (startTaken && stopTaken && startPercent_ >= stopPercent_) {
    const auto given = std::find_if(
        parameters.begin(), parameters.end(),
        [](const TestParameter& parameter) { return parameter.key == keys::kStartRange; });
    issues.push_back({ParameterIssue::ValueRefused, keys::kStartNotBelowStop,
                      given == parameters.end() ? parameterList_.front() : *given});
  }
  return issues.empty();
}

void LinearReadTest::resetParameters() {
  startPercent_ = kStartRangeParameter.defaultValue;
  stopPercent_ = kStopRangeParameter.defaultValue;
  coveragePercent_ = kCoverageAreaParameter.defaultValue;
  errorLimit_ = kErrorLimitParameter.defaultValue;
}

TestResult LinearReadTest::check(StorageComponent* component, TestListener* listener,
                                 MessageLog* log) {
  const bool complete = component != nullptr && component->storageProtocol() != nullptr &&
                        listener != nullptr && log != nullptr;
  return complete ? TestResult::Passed : TestResult::CouldNotStart;
}

TestResult LinearReadTest::run(TestRunContext* context) {
  if (bind(context) != TestResult::Passed) {
    return TestResult::CouldNotStart;
  }
  const TestResult checked = check(component_, listener_, log_);
  if (checked != TestResult::Passed) {
    return checked;
  }

  std::vector<TestParameter> chosen;
  std::vector<ParameterIssue> issues;
  context->parameters(chosen);
  if (!setParameters(chosen, issues)) {
    progress(100, issueText(issues));
    return TestResult::Stopped;
  }
  return close(samplePass());
}

TestResult LinearReadTest::samplePass() {
  const StorageProtocolProperties properties = cachedProperties(protocol_);
  sectorBytes_ = sectorBufferBytes(properties);
  blockSectors_ = component_->preferredReadBlock();
  badBlocks_.clear();
  if (properties.totalSectors == 0) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, Statement);
    return TestResult::Stopped;
  }
  // No block fits on so small a disk, so the disk is one.
  if (blockSectors_ == 0 && properties.totalSectors < kSmallestBlock) {
    blockSectors_ = properties.totalSectors;
  }
  // A device that reads no block at all, not even at its start, has nothing to sample.
  if (blockSectors_ == 0) {
    return TestResult::CouldNotStart;
  }
  const std::uint64_t bufferBytes = blockSectors_ * sectorBytes_;
  if (bufferBytes > std::numeric_limits<std::uint32_t>::max()) {
    return TestResult::Stopped;
  }
  const std::unique_ptr<std::uint8_t[]> buffer(
      new (std::nothrow) std::uint8_t[static_cast<std::size_t>(bufferBytes)]());
  if (buffer == nullptr) {
    return TestResult::Stopped;
  }
  return sample(chooseArea(properties.totalSectors - 1), buffer.get(),
                static_cast<std::uint32_t>(bufferBytes));
}

LinearReadTest::Area LinearReadTest::chooseArea(std::uint64_t last) const {
  const auto place = [&](double percent) {
    return percent > static_cast<double>(last) ? 0 : std::min(share(last, percent), last);
  };
  const Area area{place(startPercent_), place(stopPercent_)};
  // Too few sectors for percents to tell places apart: the whole disk is the area.
  return area.start < area.stop ? area : Area{0, last};
}

TestResult LinearReadTest::sample(const Area& area, std::uint8_t* buffer,
                                  std::uint32_t bufferBytes) {
  const std::uint64_t range = area.stop - area.start;
  // An area that one block covers is read whole; a stride would not fit into it.
  const bool whole = range < blockSectors_;
  const std::uint64_t sampled = std::max<std::uint64_t>(share(range, coveragePercent_), 1);
  const std::uint64_t stride = std::max<std::uint64_t>(range / sampled, 1) * blockSectors_;
  const std::uint64_t steps = std::max<std::uint64_t>(range / stride, 1);

  int lastReported = -1;
  std::uint64_t cursor = area.start;
  for (std::uint64_t i = 0; i <= (whole ? 0 : steps); ++i, cursor += stride) {
    const std::uint64_t lba =
        whole ? area.start : (generator() % (stride - blockSectors_ + 1) + cursor) % area.stop;
    const std::uint64_t count = clampReadCount(area.stop, blockSectors_, lba);
    const int percent =
        static_cast<int>(static_cast<double>(i) * 100.0 / static_cast<double>(steps));
    if (percent > lastReported) {
      progress(static_cast<std::uint8_t>(percent));
      lastReported = percent;
    }
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    if (errorLimit_ != 0 && badBlocks_.size() >= errorLimit_) {
      break;
    }
    const TestResult result = readBlock(lba, count, buffer, bufferBytes);
    if (result != TestResult::Passed) {
      return result;
    }
  }
  return badBlocks_.empty() ? TestResult::Passed : reportBadBlocks();
}

TestResult LinearReadTest::readBlock(std::uint64_t lba, std::uint64_t count, std::uint8_t* buffer,
                                     std::uint32_t bufferBytes) {
  const ProtocolResult error = component_->readSectors(
      lba, static_cast<std::uint16_t>(count), buffer, false, bufferBytes, readTimeoutSeconds_);
  switch (error) {
    case ProtocolResult::Success:
      return TestResult::Passed;
    case ProtocolResult::InterfaceCrcError:
    case ProtocolResult::MediumError:
      badBlocks_.insert(lba);
      return TestResult::Passed;
    case ProtocolResult::CommandRejected:
      showThenLog(listener_, log_, keys::kPasswordProtected, Statement);
      return TestResult::Stopped;
    case ProtocolResult::ReadTimeout:
      showThenLog(listener_, log_, keys::kReadOperationTimeout, Statement);
      return TestResult::Failed;
    default:
      showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, Statement);
      return TestResult::Stopped;
  }
}

TestResult LinearReadTest::reportBadBlocks() {
  const std::vector<std::uint64_t> blocks(badBlocks_.begin(), badBlocks_.end());
  showThenLog(listener_, log_, badBlockText(blocks, blockSectors_), Statement);
  return TestResult::Failed;
}

}  // namespace ostria::storage
