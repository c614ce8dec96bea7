// What the NVMe tests share: which drives they apply to, and the form of their messages.

#include "diagnostics/health/nvme_access.h"

namespace ostria::storage {

bool hasNvmeLogs(const StorageProtocol* protocol) {
  return protocol != nullptr && (protocol->GetProtocolKind() == ProtocolKind::Nvme ||
                                 protocol->GetProtocolKind() == ProtocolKind::NvmeSystemCall);
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
