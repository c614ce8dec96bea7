// SEND DIAGNOSTIC with SELFTEST holds the command until the drive has examined itself (SPC), so
// there is nothing to watch: the status of the command is the verdict.
#include "diagnostics/self_test/default_routine.h"

#include "checks/message_keys.h"

namespace ostria::storage {

TestResult DefaultSelfTest::check(StorageComponent* component, TestListener* listener,
                                  MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (component->storageProtocol()->GetProtocolKind() != ProtocolKind::Scsi ||
      component->busKind() != StorageBusKind::Scsi) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  return TestResult::Passed;
}

TestResult DefaultSelfTest::run(TestRunContext* context) {
  const TestResult begun = begin(context);
  if (begun != TestResult::Passed) {
    return begun;
  }
  TestResult result = prepare(component_, listener_, log_);
  if (result == TestResult::Passed) {
    result = checkStop(context_) ? TestResult::Stopped : perform();
  }
  return close(result);
}

TestResult DefaultSelfTest::perform() {
  const ProtocolResult ended = protocol_->StartSelfTest(static_cast<std::uint8_t>(testCode_), 0);
  // Only what the drive says of itself makes it a defective one: it may also be busy or reserved.
  if (!succeeded(ended) && ended != ProtocolResult::DeviceError) {
    return refuse(listener_, log_, keys::kCannotPerformSelfTest, ResourceProblem);
  }
  return close(succeeded(ended) ? TestResult::Passed : TestResult::Failed);
}

}  // namespace ostria::storage
