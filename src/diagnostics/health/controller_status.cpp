// The NVMe controller status register (CSTS) tells of a fatal error even when the drive takes no
// command any more, but only a driver can read it.
#include "diagnostics/health/controller_status.h"

#include "checks/message_keys.h"
#include "diagnostics/health/nvme_access.h"

namespace ostria::storage {

TestResult ControllerStatusTest::check(StorageComponent* component, TestListener* listener,
                                       MessageLog* log) {
  const char* reason = nullptr;
  if (component == nullptr) {
    reason = keys::kDeviceNotIdentified;
  } else if (component->busKind() != StorageBusKind::Nvme ||
             component->controllerAccess() != StorageComponent::kConfirmedNvmeController) {
    reason = keys::kInvalidProtocol;
  }
  if (reason == nullptr) {
    return TestResult::Passed;
  }
  showThenLogFlagged(listener, log, reason, Statement);
  return TestResult::CouldNotStart;
}

TestResult ControllerStatusTest::prepare(StorageComponent* component, TestListener* listener,
                                         MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return component->storageProtocol() == nullptr ? TestResult::CouldNotStart : TestResult::Passed;
}

TestResult ControllerStatusTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  if (prepare(component_, listener_, log_) != TestResult::Passed) {
    showThenLogFlagged(listener_, log_, "NVME Controller Test: Execution Supports failed.",
                       Statement);
    return TestResult::NotPerformed;
  }

  bool fatal = false;
  const ProtocolResult answer = component_->controllerFatalStatus(&fatal);
  if (answer == ProtocolResult::NotSupported) {
    showThenLogFlagged(listener_, log_, "", Statement);
    return TestResult::NotPerformed;
  }
  if (!succeeded(answer)) {
    showThenLogFlagged(listener_, log_, "CONTINUOUS_FAILURE_WARNING", Statement);
    return TestResult::Stopped;
  }
  if (fatal) {
    showThenLogFlagged(listener_, log_, "NVME_CONTROLLER_STATUS_TEST_FAIL", Statement);
    return TestResult::Failed;
  }
  if (checkStopNoted(context_, true)) {
    return TestResult::Stopped;
  }
  return close(TestResult::Passed);
}

}  // namespace ostria::storage
