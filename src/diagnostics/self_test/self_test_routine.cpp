// The drive's own routine (SMART EXECUTE OFF-LINE IMMEDIATE, SEND DIAGNOSTIC) runs beside the host
// and outlives it, so everything here is about knowing whose routine runs and never leaving one
// behind.
#include "diagnostics/self_test/self_test_routine.h"

#include <algorithm>

#include "base/on_exit.h"
#include "checks/message_keys.h"
#include "diagnostics/self_test/self_test_status.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

/// A wait between two looks at the clock: long enough to leave the processor alone, short enough
/// for a user who aborts.
constexpr std::uint32_t kLoopPauseMilliseconds = 100;

bool isAta(const StorageProtocol& protocol) {
  return protocol.GetProtocolKind() == ProtocolKind::Ata;
}

}  // namespace

bool SelfTest::capabilitiesUnknown(const StorageProtocolProperties& properties) {
  return properties.smartSupported && !properties.smartEnabled && !properties.smartDataValid;
}

TestResult SelfTest::check(StorageComponent* component, TestListener* listener, MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageProtocol& protocol = *component->storageProtocol();
  switch (protocol.GetProtocolKind()) {
    case ProtocolKind::Emmc:
    case ProtocolKind::Nvme:
    case ProtocolKind::NvmeScsi:
    case ProtocolKind::NvmeSystemCall:
      return refuse(listener, log, keys::kInvalidProtocol, Statement);
    case ProtocolKind::Ata:
      break;
    default:
      return TestResult::Passed;
  }
  const StorageProtocolProperties properties = cachedProperties(&protocol);
  if (!properties.smartSupported) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  if (capabilitiesUnknown(properties)) {
    return TestResult::Passed;
  }
  if (!properties.smartDataValid) {
    return refuse(listener, log, keys::kSmartDataNotCached, Statement);
  }
  if (!properties.offlineImmediateSupported) {
    return refuse(listener, log, keys::kNoOfflineExecution, Statement);
  }
  // The bit says that the drive gives its routine up at the next command, so watching it would end
  // it.
  if (properties.selfTestAbortSupported) {
    return refuse(listener, log, keys::kUnexpectedEvent, Statement);
  }
  return TestResult::Passed;
}

TestResult SelfTest::checkSelfTestSupported(StorageComponent* component, TestListener* listener,
                                            MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageProtocol& protocol = *component->storageProtocol();
  const StorageProtocolProperties properties = cachedProperties(&protocol);
  if (isAta(protocol) && !properties.selfTestSupported && !capabilitiesUnknown(properties)) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  return TestResult::Passed;
}

TestResult SelfTest::prepare(StorageComponent* component, TestListener* listener, MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  if (!isAta(*component->storageProtocol())) {
    return TestResult::Passed;
  }
  StorageProtocol& protocol = *component->storageProtocol();
  const bool learning = capabilitiesUnknown(cachedProperties(&protocol));
  const TestResult enabled = enableSmart(*component, listener, log);
  if (enabled != TestResult::Passed || !learning) {
    return enabled;
  }
  // Now the drive can say what it can do, and the checks can be made that had to wait for it.
  StorageProtocolProperties learnt;
  if (!succeeded(protocol.GetProperties(&learnt)) || capabilitiesUnknown(learnt)) {
    return refuse(listener, log, keys::kSmartDataNotCached, Statement);
  }
  return check(component, listener, log);
}

TestResult SelfTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  return close(restoringSmart([this] {
    const TestResult prepared = prepare(component_, listener_, log_);
    if (prepared != TestResult::Passed) {
      return prepared;
    }
    // From here on routines are stopped and started, so this is the last look before it.
    return checkStop(context_) ? TestResult::Stopped : perform();
  }));
}

TestResult SelfTest::perform() {
  // A controller may have its members examine themselves; that routine is left alone.
  if (component_->connection() != DeviceConnection::RaidMember) {
    const TestResult cleared = clearOtherRoutine();
    if (cleared != TestResult::Passed) {
      return cleared;
    }
  }
  const TestResult started = startRoutine();
  if (started != TestResult::Passed) {
    return started;
  }
  // Until the drive has ended its routine, or is lost, whatever ends this test stops the routine. A
  // drive that does not stop it has no better answer to give: the test ends here.
  bool running = true;
  const OnExit stopRoutine{[&] {
    if (running) {
      (void)protocol_->AbortSelfTest();
    }
  }};
  progress(0);
  return watch(running);
}

TestResult SelfTest::clearOtherRoutine() {
  std::uint8_t status = kUnknownSelfTestStatus;
  if (!succeeded(protocol_->GetSelfTestResult(&status))) {
    return cannotPerform();
  }
  if (status != kSelfTestInProgress) {
    return TestResult::Passed;
  }
  progress(0, keys::kOtherSelfTestInProgress);
  log_->add(keys::kOtherSelfTestInProgress, ResourceProblem, 0);
  // Whether the routine ended is the drive's word alone: without an answer it still counts as
  // running.
  (void)protocol_->AbortSelfTest();
  (void)protocol_->GetSelfTestResult(&status);
  if (status == kSelfTestInProgress) {
    showThenLog(listener_, log_, keys::kCannotAbortOtherSelfTest, MissingCapability);
    return TestResult::Warning;
  }
  progress(0, keys::kOtherSelfTestAborted);
  log_->add(keys::kOtherSelfTestAborted, ResourceProblem, 0);
  return TestResult::Passed;
}

TestResult SelfTest::startRoutine() {
  const ProtocolResult started = protocol_->StartSelfTest(
      static_cast<std::uint8_t>(routine_.testCode), static_cast<std::uint8_t>(routine_.secondCode));
  if (succeeded(started)) {
    return TestResult::Passed;
  }
  if (explicitParameters_ && (started == ProtocolResult::SelfTestAbortedByDevice ||
                              started == ProtocolResult::SelfTestIdNotFound)) {
    return refuse(listener_, log_, keys::kInvalidParameterValue, DeviceFault);
  }
  const TestResult result = cannotPerform();
  if (component_->connection() != DeviceConnection::RaidMember) {
    wakeByReading(*component_);
  }
  return result;
}

TestResult SelfTest::watch(bool& running) {
  Timer& timer = *get_timer();
  std::int64_t lastPoll = timer.clock();
  const std::int64_t started = lastPoll;
  const auto passed = [&](std::int64_t since) {
    return timer.secondsBetween(since, timer.clock());
  };
  std::uint8_t shown = 0;
  std::uint8_t status = kUnknownSelfTestStatus;
  if (!succeeded(protocol_->GetSelfTestResult(&status))) {
    running = false;
    return cannotPerform();
  }
  for (;; timer.wait(kLoopPauseMilliseconds)) {
    if (status != kSelfTestInProgress) {
      running = false;
      return judgeSelfTestStatus(*protocol_, status, listener_, log_);
    }
    if (checkStop(context_)) {
      return TestResult::Stopped;
    }
    if (passed(lastPoll) >= routine_.pollSeconds) {
      const TestResult polled = poll(shown, status);
      if (polled != TestResult::Passed) {
        running = false;
        return polled;
      }
      lastPoll = timer.clock();
      if (shown != 100) {
        progress(shown);
      }
    }
    if (!explicitParameters_ && passed(started) >= routine_.timeoutSeconds) {
      const std::string text =
          keyColonNumber(keys::kFinishedWithTimeout, routine_.timeoutSeconds) + " s";
      showThenLog(listener_, log_, text, MissingCapability);
      return TestResult::Warning;
    }
  }
}

TestResult SelfTest::poll(std::uint8_t& shown, std::uint8_t& status) {
  std::uint8_t percent = 0;
  // A percentage above 100 says nothing.
  if (succeeded(protocol_->GetSelfTestProgress(&percent)) && percent <= 100) {
    shown = std::max(shown, percent);
  }
  // Not every drive reports its progress, and one that does not may still have failed.
  if (succeeded(protocol_->GetSelfTestResult(&status)) || protocol_->IsAccessible()) {
    return TestResult::Passed;
  }
  showThenLog(listener_, log_, keys::kDeviceCommunicationFailure, MissingCapability);
  return TestResult::Stopped;
}

TestResult SelfTest::cannotPerform() {
  return refuse(listener_, log_, keys::kCannotPerformSelfTest, ResourceProblem);
}

}  // namespace ostria::storage
