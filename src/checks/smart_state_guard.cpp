#include "checks/smart_state_guard.h"

namespace ostria::storage {

ProtocolResult SmartStateGuard::enable(StorageProtocol& protocol) {
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetProperties(&properties))) {
    return ProtocolResult::Failure;
  }
  wasEnabled_ = properties.smartEnabled;
  return protocol.SetSmartEnabled(1);
}

void SmartStateGuard::restore(StorageProtocol& protocol, MessageLog* /*log*/) {
  if (!wasEnabled_) {
    (void)protocol.SetSmartEnabled(0);
  }
}

}  // namespace ostria::storage
