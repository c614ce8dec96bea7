#include "diagnostics/health/nvme_access.h"

#include "transport/nvme/nvme_protocol.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage {

NvmeAccess::NvmeAccess(StorageProtocol* protocol)
    : passThrough_(dynamic_cast<NvmeProtocol*>(protocol)),
      systemCall_(dynamic_cast<NvmeSystemCallProtocol*>(protocol)) {}

bool NvmeAccess::readLog(void* buffer, std::uint32_t bytes, std::uint32_t log) const {
  if (passThrough_ != nullptr) {
    return succeeded(passThrough_->GetLogPage(buffer, bytes, log));
  }
  if (systemCall_ != nullptr) {
    return succeeded(systemCall_->GetLogPage(buffer, bytes, log, 0));
  }
  return false;
}

bool NvmeAccess::readIdentify(NvmeIdentifyRecord& record) const {
  if (passThrough_ != nullptr) {
    return succeeded(passThrough_->GetIdentifyRecord(&record));
  }
  return systemCall_ != nullptr && systemCall_->GetIdentifyRecord(&record);
}

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
