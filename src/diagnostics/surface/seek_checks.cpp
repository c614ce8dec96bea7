// Seek tests mean something for a disk with a head or a SCSI front; NVMe and eMMC have tests of
// their own.
#include "diagnostics/surface/seek_checks.h"

#include "checks/device_checks.h"
#include "checks/host_messages.h"
#include "checks/message_keys.h"

namespace ostria::storage {

TestResult checkQuickSeek(StorageComponent* component, TestListener* listener, MessageLog* log) {
  if (component == nullptr) {
    return TestResult::CouldNotStart;
  }
  return checkSeekable(component, listener, log) ? TestResult::Passed : TestResult::NotPerformed;
}

TestResult prepareQuickSeek(StorageComponent* component, TestListener* listener, MessageLog* log) {
  return checkReadyToRead(component, listener, log) ? TestResult::Passed : TestResult::NotPerformed;
}

TestResult checkInternalScsi(StorageComponent* component, TestListener* listener, MessageLog* log) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->connection() == DeviceConnection::External) {
    return refuse(listener, log, keys::kNotSupportedInExternalDevice, MissingCapability);
  }
  if (component->busKind() != StorageBusKind::Scsi ||
      component->storageProtocol()->GetProtocolKind() != ProtocolKind::Scsi) {
    return refuse(listener, log, keys::kNotSupportedInThisDevice, Statement);
  }
  return TestResult::Passed;
}

TestResult prepareExtendedSeek(StorageComponent* component) {
  if (component == nullptr || component->storageProtocol() == nullptr) {
    return TestResult::CouldNotStart;
  }
  if (component->connection() != DeviceConnection::RaidMember) {
    wakeByReading(*component);
  }
  return TestResult::Passed;
}

}  // namespace ostria::storage
