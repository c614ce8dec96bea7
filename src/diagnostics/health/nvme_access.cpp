// What the NVMe tests share: which drives they apply to, and the form of their messages.

#include "diagnostics/health/nvme_access.h"

#include "checks/message_keys.h"

namespace ostria::storage {

bool hasNvmeLogs(const StorageProtocol* protocol) {
  return protocol != nullptr && (protocol->GetProtocolKind() == ProtocolKind::Nvme ||
                                 protocol->GetProtocolKind() == ProtocolKind::NvmeSystemCall);
}

const char* nvmeRefusal(const StorageComponent* component) {
  if (component == nullptr) {
    return keys::kDeviceNotIdentified;
  }
  return hasNvmeLogs(component->storageProtocol()) ? nullptr : keys::kInvalidProtocol;
}

void showThenLogFlagged(TestListener* listener, MessageLog* log, const std::string& text,
                        Severity severity) {
  if (listener != nullptr) {
    listener->progress(100, text);
  }
  if (log != nullptr) {
    log->add(text, severity, 1);
  }
}

}  // namespace ostria::storage
