// A device that had SMART switched off (ATA SMART DISABLE OPERATIONS, SCSI exception control page)
// must not come out of a test with it on: its owner may have had a reason.
#include "diagnostics/smart_test_base.h"

#include "checks/message_keys.h"

namespace ostria::storage {

TestResult SmartTestBase::enableSmart(StorageComponent& component, TestListener* listener,
                                      MessageLog* log) {
  if (!succeeded(smartGuard_.enable(*component.storageProtocol()))) {
    return refuse(listener, log, keys::kCannotEnableSmart, MissingCapability);
  }
  return TestResult::Passed;
}

}  // namespace ostria::storage
