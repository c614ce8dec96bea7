#pragma once

#include "ostria/storage/test_channels.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// Remembers whether SMART was enabled before a test, so that the test leaves it as it found it.
class SmartStateGuard {
 public:
  /// Asks the device for its state, then enables SMART.
  /// @return `Failure` when the device does not tell its state, else what enabling gave
  ProtocolResult enable(StorageProtocol& protocol);
  /// Disables SMART if `enable` had found it disabled, once. A device that refuses keeps it; the
  /// verdict of the test does not depend on it.
  void restore(StorageProtocol& protocol, MessageLog* log);

 private:
  bool wasEnabled_ = true;
};

}  // namespace ostria::storage
