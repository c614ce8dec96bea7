// The result values are those of the ATA self-test execution status and of the SCSI self-test
// results log page; both count 15 as "in progress", but the fault values differ.
#include "diagnostics/self_test/self_test_status.h"

#include "checks/host_messages.h"
#include "checks/message_keys.h"

namespace ostria::storage {

namespace {

/// Fault that the status of an ATA drive names, null when it names none.
const char* ataFault(std::uint8_t status) {
  switch (status) {
    case 3:
      return keys::kCriticalInterruption;
    case 4:
      return keys::kUnknownErrorDetected;
    case 5:
      return keys::kElectricalErrorDetected;
    case 6:
      return keys::kSeekErrorDetected;
    case 8:
      return keys::kHandlingDamageDetected;
    default:
      return nullptr;
  }
}

TestResult judgeAta(StorageProtocol& protocol, std::uint8_t status, TestListener* listener,
                    MessageLog* log) {
  if (const char* fault = ataFault(status)) {
    logThenShow(listener, log, fault, DeviceFault);
    return TestResult::Failed;
  }
  constexpr std::uint8_t kReadFailure = 7;
  if (status != kReadFailure) {
    logThenShow(listener, log, keys::kInconclusiveResult, Statement);
    return TestResult::Warning;
  }
  log->add(keys::kReadErrorDetected, DeviceFault, 0);
  std::uint64_t lba = 0;
  if (succeeded(protocol.GetFirstFailedLba(&lba))) {
    logThenShow(listener, log, keyWithNumber(keys::kReadingSector, lba), DeviceFault);
  } else {
    listener->progress(100, {});
  }
  return TestResult::Failed;
}

TestResult judgeScsi(StorageProtocol& protocol, std::uint8_t status, TestListener* listener,
                     MessageLog* log) {
  if (status < 3 || status > 7) {
    logThenShow(listener, log, keys::kInconclusiveResult, Statement);
    return TestResult::Warning;
  }
  std::uint64_t lba = 0;
  if (succeeded(protocol.GetFirstFailedLba(&lba))) {
    log->add(keys::kReadErrorDetected, DeviceFault, 0);
    logThenShow(listener, log, keyWithNumber(keys::kReadingSector, lba), DeviceFault);
  } else {
    listener->progress(100, {});
  }
  return TestResult::Failed;
}

}  // namespace

TestResult judgeSelfTestStatus(StorageProtocol& protocol, std::uint8_t status,
                               TestListener* listener, MessageLog* log) {
  const ProtocolKind kind = protocol.GetProtocolKind();
  if (kind != ProtocolKind::Ata && kind != ProtocolKind::Scsi) {
    return TestResult::CouldNotStart;
  }
  switch (status) {
    case 0:
      listener->progress(100, {});
      return TestResult::Passed;
    case 1:
    case 2:
      logThenShow(listener, log, keys::kAbortedByExternalFactor, Statement);
      return TestResult::Warning;
    default:
      return kind == ProtocolKind::Ata ? judgeAta(protocol, status, listener, log)
                                       : judgeScsi(protocol, status, listener, log);
  }
}

}  // namespace ostria::storage
