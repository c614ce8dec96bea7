// A worn drive may work for years more, so the finding is a line and never a failure.
#include "diagnostics/health/smart_wearout.h"

#include "checks/message_keys.h"
#include "diagnostics/health/nvme_access.h"

namespace ostria::storage {

namespace {

/// SMART of an NVMe drive cannot be switched.
bool hasSmartSwitch(const StorageProtocol& protocol) { return !hasNvmeLogs(&protocol); }

}  // namespace

TestResult SmartWearoutTest::check(StorageComponent* component, TestListener* listener,
                                   MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  const StorageProtocol& protocol = *component->storageProtocol();
  if (protocol.GetProtocolKind() != ProtocolKind::Ata) {
    return hasSmartSwitch(protocol) ? refuse(listener, log, keys::kInvalidProtocol, Statement)
                                    : TestResult::Passed;
  }
  const StorageProtocolProperties properties = cachedProperties(&protocol);
  if (!properties.smartSupported) {
    return refuse(listener, log, keys::kSmartNotSupported, MissingCapability);
  }
  if (!properties.solidState) {
    return refuse(listener, log, keys::kForSsdsOnly, MissingCapability);
  }
  return TestResult::Passed;
}

TestResult SmartWearoutTest::prepare(StorageComponent* component, TestListener* listener,
                                     MessageLog* log) {
  const TestResult checked = check(component, listener, log);
  if (checked != TestResult::Passed) {
    return checked;
  }
  return hasSmartSwitch(*component->storageProtocol()) ? enableSmart(*component, listener, log)
                                                       : TestResult::Passed;
}

TestResult SmartWearoutTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  std::string finding;
  const TestResult result = restoringSmart([&] {
    const TestResult prepared = prepare(component_, listener_, log_);
    return prepared == TestResult::Passed ? judge(finding) : prepared;
  });
  progress(100, finding);
  return result;
}

TestResult SmartWearoutTest::judge(std::string& finding) {
  progress(0);
  std::uint32_t remaining = 0xFFFFFFFFu;
  if (!succeeded(protocol_->GetWearIndicator(&remaining)) || remaining > 100) {
    return refuse(listener_, log_, keys::kSmartDataNotValid, Statement);
  }
  if (remaining <= 1) {
    finding = keys::kWearoutLimitReached;
  } else if (remaining <= 10) {
    finding = keys::kWearoutLimitClose;
  }
  return TestResult::Passed;
}

}  // namespace ostria::storage
