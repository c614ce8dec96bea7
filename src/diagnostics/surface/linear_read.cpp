// A sample tells much of a surface in little time: bad sectors come in groups. The random positions
// differ from run to run, so that several runs together see more than one.
#include "diagnostics/surface/linear_read.h"

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <vector>

#include "checks/message_keys.h"
#include "checks/read_block.h"
#include "diagnostics/surface/scan_parameters.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

/// One engine for the life of the process, seeded with the time of the first run: on a virtual PC
/// that is virtual, so that a machine file gives the same verdicts each time.
std::mt19937_64& generator() {
  static std::mt19937_64 engine(static_cast<std::uint64_t>(get_time_handler()->now()));
  return engine;
}

/// So many percent of a number of sectors. The largest numbers have no exact double: what comes out
/// above `whole` is `whole`.
std::uint64_t share(std::uint64_t whole, double percent) {
  const double part = static_cast<double>(whole) * percent * 0.01;
  return part >= static_cast<double>(whole) ? whole : static_cast<std::uint64_t>(part);
}

}  // namespace

LinearReadTest::LinearReadTest(const Identifier& id)
    : StorageTest(id),
      parameterList_{describe(kStartRangeParameter), describe(kStopRangeParameter),
                     describe(kCoverageAreaParameter), describe(kErrorLimitParameter)} {}

bool LinearReadTest::setParameters(const std::vector<TestParameter>& parameters,
                                   std::vector<ParameterIssue>& issues) {
  static constexpr std::array<const ScanParameter*, 4> kKnown = {
      &kStartRangeParameter, &kStopRangeParameter, &kCoverageAreaParameter, &kErrorLimitParameter};
  issues.clear();
  refuseUnknown(parameters, kKnown, issues);
  double start = startPercent_;
  double stop = stopPercent_;
  const bool startTaken = takeParameter(kStartRangeParameter, parameters, &start, issues);
  const bool stopTaken = takeParameter(kStopRangeParameter, parameters, &stop, issues);
  // What is refused stands in the issues.
  (void)takeParameter(kCoverageAreaParameter, parameters, &coveragePercent_, issues);
  (void)takeParameter(kErrorLimitParameter, parameters, &errorLimit_, issues);
  // A range in the wrong order is not kept, or the next run would be refused for it as well.
  if (start < stop) {
    startPercent_ = start;
    stopPercent_ = stop;
  } else if (startTaken && stopTaken) {
    const auto given = std::find_if(
        parameters.begin(), parameters.end(),
        [](const TestParameter& parameter) { return parameter.key == keys::kStartRange; });
    TestParameter record = given == parameters.end() ? parameterList_.front() : *given;
    if (given == parameters.end()) {
      record.value = std::to_string(static_cast<std::uint32_t>(start));
    }
    issues.push_back({ParameterIssue::ValueRefused, keys::kStartNotBelowStop, record});
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
  if (isLocked(*component_)) {
    return refuse(listener_, log_, passwordText(), Statement);
  }
  Pass pass;
  pass.sectorBytes = sectorBufferBytes(properties);
  if (properties.totalSectors != 0) {
    pass.blockSectors = chooseReadBlock(*component_);
  }
  if (pass.blockSectors == 0) {
    showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, Statement);
    return TestResult::Stopped;
  }
  const std::uint64_t bufferBytes = std::uint64_t{pass.blockSectors} * pass.sectorBytes;
  if (bufferBytes > std::numeric_limits<std::uint32_t>::max()) {
    return TestResult::Stopped;
  }
  TransferBuffer buffer;
  if (!buffer.make(static_cast<std::size_t>(bufferBytes))) {
    return TestResult::Stopped;
  }
  pass.area = chooseArea(properties.totalSectors - 1);
  const TestResult result = sample(pass, buffer, static_cast<std::uint32_t>(bufferBytes));
  if (result != TestResult::Passed || pass.bad.count() == 0) {
    return result;
  }
  showThenLog(listener_, log_, pass.bad.text(pass.blockSectors), Statement);
  return TestResult::Failed;
}

LinearReadTest::Area LinearReadTest::chooseArea(std::uint64_t last) const {
  const auto at = [&](double percent) {
    return percent > static_cast<double>(last) ? 0 : share(last, percent);
  };
  const Area area{at(startPercent_), at(stopPercent_)};
  // Too few sectors for percents to tell positions apart: the whole disk is the area.
  return area.start < area.stop ? area : Area{0, last};
}

TestResult LinearReadTest::sample(Pass& pass, TransferBuffer& buffer, std::uint32_t bufferBytes) {
  const Area& area = pass.area;
  const std::uint64_t block = pass.blockSectors;
  const std::uint64_t range = area.stop - area.start;
  // An area that one block covers is read whole; a stride would not fit into it.
  const bool whole = range < block;
  const std::uint64_t sampled = std::max<std::uint64_t>(share(range, coveragePercent_), 1);
  const std::uint64_t stride = std::max<std::uint64_t>(range / sampled, 1) * block;
  const std::uint64_t steps = std::max<std::uint64_t>(range / stride, 1);

  int lastReported = -1;
  std::uint64_t cursor = area.start;
  for (std::uint64_t i = 0; i <= (whole ? 0 : steps); ++i, cursor += stride) {
    std::uint64_t lba = area.start;
    if (!whole) {
      // The last stride may reach beyond the area: its block is then the last one of the area, or
      // what is left of it.
      const std::uint64_t drawn = cursor + generator()() % (stride - block + 1);
      const std::uint64_t lastBlock = area.stop - block + 1;
      lba = drawn <= lastBlock ? drawn : std::max(lastBlock, std::min(cursor, area.stop));
    }
    const int percent =
        static_cast<int>(static_cast<double>(i) * 100.0 / static_cast<double>(steps));
    if (percent > lastReported) {
      progress(static_cast<std::uint8_t>(percent));
      lastReported = percent;
    }
    if (checkStopNoted(context_, true)) {
      return TestResult::Stopped;
    }
    if (errorLimit_ != 0 && pass.bad.count() >= errorLimit_) {
      return TestResult::Passed;
    }
    const TestResult result = readBlock(pass, lba, buffer, bufferBytes);
    if (result != TestResult::Passed) {
      return result;
    }
  }
  return TestResult::Passed;
}

TestResult LinearReadTest::readBlock(Pass& pass, std::uint64_t lba, TransferBuffer& buffer,
                                     std::uint32_t bufferBytes) {
  const auto count =
      static_cast<std::uint16_t>(clampReadCount(pass.area.stop, pass.blockSectors, lba));
  const ProtocolResult error =
      component_->readSectors(lba, count, buffer, false, bufferBytes, readTimeoutSeconds_);
  if (succeeded(error)) {
    return TestResult::Passed;
  }
  // A device that is gone has no bad block; one that comes back with sectors of another size is
  // another device, or none that can be judged.
  const bool there = protocol_->IsAccessible() &&
                     sectorBufferBytes(cachedProperties(protocol_)) == pass.sectorBytes;
  switch (there ? error : ProtocolResult::TransportFailure) {
    case ProtocolResult::InterfaceCrcError:
    case ProtocolResult::MediumError:
      pass.bad.add(lba);
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

}  // namespace ostria::storage
