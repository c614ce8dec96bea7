// The restoring itself is the affair of a scope guard around the test, so that no way out of the
// test misses it.
#include "checks/smart_state_guard.h"

namespace ostria::storage {

ProtocolResult SmartStateGuard::enable(StorageProtocol& protocol) {
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetProperties(&properties))) {
    return ProtocolResult::Failure;
  }
  const ProtocolResult result = protocol.SetSmartEnabled(1);
  // A device that refused has nothing to be put back.
  wasEnabled_ = properties.smartEnabled || !succeeded(result);
  return result;
}

void SmartStateGuard::restore(StorageProtocol& protocol, MessageLog* /*log*/) {
  if (!wasEnabled_) {
    wasEnabled_ = true;
    // A drive that is gone, or keeps SMART on, has no say in a result that stands already.
    (void)protocol.SetSmartEnabled(0);
  }
}

}  // namespace ostria::storage
