#include "diagnostics/storage_test_base.h"

#include <vector>

#include "checks/message_keys.h"
#include "checks/null_channels.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kWakingTimeoutSeconds = 30;
constexpr std::uint32_t kReadyTimeoutSeconds = 10;

bool isRotating(StorageComponent& component) {
  if (component.busKind() != StorageBusKind::Ata) {
    return false;
  }
  const auto& attributes = component.attributeMap();
  const auto found = attributes.find("NonRotatingMedia");
  return found != attributes.end() && found->second == "F";
}

bool eventHappened(TestRunContext& context) {
  const std::uint8_t* events = context.systemEvents();
  return events != nullptr && (*events & CompromisingSystemEvents) != 0;
}

}  // namespace

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
  readTimeoutSeconds_ = chooseReadTimeout();
  log_ = context->messageLog();
  listener_ = context->listener();
  return log_ == nullptr || listener_ == nullptr ? TestResult::CouldNotStart : TestResult::Passed;
}

std::uint32_t StorageTest::chooseReadTimeout() {
  if (component_->connection() == DeviceConnection::RaidMember) {
    return kWakingTimeoutSeconds;
  }
  if (!isRotating(*component_)) {
    return kReadyTimeoutSeconds;
  }

  // A protocol without power modes succeeds and leaves the sentinel.
  std::uint32_t mode = StorageProtocol::OtherMode;
  if (!succeeded(protocol_->GetPowerMode(&mode))) {
    return kWakingTimeoutSeconds;
  }
  switch (mode) {
    case StorageProtocol::Idle:
    case StorageProtocol::Active:
      return kReadyTimeoutSeconds;
    case StorageProtocol::Standby:
      (void)protocol_->IdleImmediate();
      return kWakingTimeoutSeconds;
    default:
      return kWakingTimeoutSeconds;
  }
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
  if (!eventHappened(*context)) {
    return false;
  }
  if (report) {
    showThenLog(listener, context->messageLog(), keys::kSystemEventHappened, Statement);
  }
  return true;
}

ProtocolResult StorageTest::readSector(std::uint64_t lba, std::uint32_t bufferBytes) {
  std::vector<std::uint8_t> buffer(bufferBytes);
  return component_->readSectors(lba, 1, buffer.data(), true, 0, readTimeoutSeconds_);
}

}  // namespace ostria::storage
