// The controller itself raises the bits of the critical warning (NVMe, health log, byte 0); nothing
// is judged here beyond them.
#include "diagnostics/health/nvme_smart.h"

#include "diagnostics/health/nvme_access.h"
#include "transport/nvme/nvme_logs.h"

namespace ostria::storage {

TestResult NvmeSmartTest::check(StorageComponent* component, TestListener* listener,
                                MessageLog* log) {
  const char* reason = nvmeRefusal(component);
  if (reason == nullptr) {
    return TestResult::Passed;
  }
  showThenLogFlagged(listener, log, reason, Statement);
  return TestResult::CouldNotStart;
}

TestResult NvmeSmartTest::prepare(StorageComponent* component, TestListener* listener,
                                  MessageLog* log) {
  return check(component, listener, log);
}

TestResult NvmeSmartTest::run(TestRunContext* context) {
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  if (prepare(component_, listener_, log_) != TestResult::Passed) {
    return TestResult::NotPerformed;
  }

  SmartLog smart{};
  NvmeLogs* const logs = nvmeLogsOf(protocol_);
  if (logs == nullptr ||
      !succeeded(logs->ReadLog(smart.data(), kNvmeHealthLogBytes, kNvmeHealthLog, 0))) {
    showThenLogFlagged(listener_, log_, "FAILED_TO_GET_SMART_DATA", Statement);
    return TestResult::NotPerformed;
  }
  const TestResult verdict = evaluate(smart);
  return checkStopNoted(context_, true) ? TestResult::Stopped : verdict;
}

TestResult NvmeSmartTest::evaluateWarning(const SmartLog& log, std::uint8_t mask, const char* key) {
  if ((log[0] & mask) == 0) {
    return close(TestResult::Passed);
  }
  showThenLogFlagged(listener_, log_, key, DeviceFault);
  return TestResult::Failed;
}

TestResult SmartSpareSpaceTest::evaluate(const SmartLog& log) {
  return evaluateWarning(log, 1, "NVME_SMART_SPARE_SPACE_TEST_FAIL");
}

TestResult SmartTemperatureTest::evaluate(const SmartLog& log) {
  return evaluateWarning(log, 2, "NVME_SMART_TEMPERATURE_TEST_FAIL");
}

TestResult SmartReliabilityTest::evaluate(const SmartLog& log) {
  return evaluateWarning(log, 4, "NVME_SMART_RELIABILITY_TEST_FAIL");
}

}  // namespace ostria::storage
