// What all tests do at their beginning and between their steps. The host may change the abort state
// and the event byte at any time, so both are polled and never remembered.
#include "diagnostics/storage_test_base.h"

#include <vector>

#include "checks/message_keys.h"
#include "checks/null_channels.h"
#include "checks/read_timeout.h"
#include "checks/system_events.h"

namespace ostria::storage {

bool StorageTest::isApplicable(SystemComponent* component) {
  auto* storage = dynamic_cast<StorageComponent*>(component);
  if (storage == nullptr) {
    return false;
  }
  return check(storage, &NullTestListener::instance(), &NullMessageLog::instance()) ==
         TestResult::Passed;
}

TestResult StorageTest::bind(TestRunContext* context) {
  if (context == nullptr) {
    return TestResult::CouldNotStart;
  }
  context_ = context;
  component_ = dynamic_cast<StorageComponent*>(context->component());
  if (component_ == nullptr) {
    return TestResult::CouldNotStart;
  }
  protocol_ = component_->storageProtocol();
  if (protocol_ == nullptr) {
    return TestResult::CouldNotStart;
  }
  component_->restartReadTimes();
  readTimeoutSeconds_ = chooseReadTimeout(*component_);
  log_ = context->messageLog();
  listener_ = context->listener();
  return log_ == nullptr || listener_ == nullptr ? TestResult::CouldNotStart : TestResult::Passed;
}

void StorageTest::endRun() {
  component_ = nullptr;
  protocol_ = nullptr;
  listener_ = nullptr;
  log_ = nullptr;
  context_ = nullptr;
}

TestResult StorageTest::begin(TestRunContext* context) {
  stopChecked_ = false;
  const TestResult bound = bind(context);
  if (bound != TestResult::Passed) {
    return bound;
  }
  return checkStop(context) ? TestResult::Stopped : TestResult::Passed;
}

bool StorageTest::checkStop(TestRunContext* context) {
  const bool first = !stopChecked_;
  stopChecked_ = true;
  return checkStopNoted(context, first);
}

bool StorageTest::checkStopNoted(TestRunContext* context, bool report) {
  if (context == nullptr) {
    return false;
  }
  TestListener* listener = context->listener();
  if (listener == nullptr) {
    return false;
  }
  if (context->isAbortRequested()) {
    listener->progress(100, {});
    return true;
  }
  if (!compromisingEventHappened(context->systemEvents())) {
    return false;
  }
  if (report) {
    showThenLog(listener, context->messageLog(), keys::kSystemEventHappened, Statement);
  }
  return true;
}

ProtocolResult StorageTest::readSector(std::uint64_t lba, std::uint32_t bufferBytes) {
  std::vector<std::uint8_t> buffer(bufferBytes);
  return component_->readSectors(lba, 1, buffer.data(), true, bufferBytes, readTimeoutSeconds_);
}

}  // namespace ostria::storage
