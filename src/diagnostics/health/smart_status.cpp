// The drive compares its attributes with its thresholds itself (SMART RETURN STATUS, SCSI
// informational exceptions) and says one word.
#include "diagnostics/health/smart_status.h"

#include "checks/message_keys.h"

namespace ostria::storage {

TestResult SmartStatusTest::check(StorageComponent* component, TestListener* listener,
                                  MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->busKind() == StorageBusKind::Nvme) {
    return refuse(listener, log, keys::kInvalidProtocol, Statement);
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (!cachedProperties(component->storageProtocol()).smartSupported) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  return TestResult::Passed;
}

TestResult SmartStatusTest::prepare(StorageComponent* component, TestListener* listener,
                                    MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return enableSmart(*component, listener, log);
}

TestResult SmartStatusTest::run(TestRunContext* context) {
  return runWithSmart(context, [this] { return judge(); });
}

TestResult SmartStatusTest::judge() {
  constexpr std::uint8_t kUnanswered = 0xFF;
  TestResult result = TestResult::Passed;
  std::uint8_t healthy = kUnanswered;
  progress(0);
  if (!succeeded(protocol_->GetSmartStatus(&healthy)) || healthy == kUnanswered) {
    result = refuse(listener_, log_, keys::kSmartDataNotValid, Statement);
  } else {
    progress(50);
  }
  if (checkStop(context_)) {
    return TestResult::Stopped;
  }
  if (result != TestResult::Passed) {
    return result;
  }
  return close(healthy != 0 ? TestResult::Passed : TestResult::Failed);
}

}  // namespace ostria::storage
