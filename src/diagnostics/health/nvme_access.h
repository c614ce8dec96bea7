#pragma once

#include <cstdint>
#include <string>

#include "checks/host_messages.h"
#include "ostria/storage/test.h"
#include "transport/nvme/nvme_identify_record.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

class NvmeProtocol;
class NvmeSystemCallProtocol;

/// The log pages of an NVMe drive, whichever of the two protocols that can fetch them it has. On
/// any other protocol nothing can be read.
class NvmeAccess {
 public:
  explicit NvmeAccess(StorageProtocol* protocol);

  /// @param bytes  size of `buffer`, which the caller has zeroed
  bool readLog(void* buffer, std::uint32_t bytes, std::uint32_t log) const;
  bool readIdentify(NvmeIdentifyRecord& record) const;

 private:
  NvmeProtocol* passThrough_;
  NvmeSystemCallProtocol* systemCall_;
};

/// Whether the protocol is one of these two, as its creator said.
bool hasNvmeLogs(const StorageProtocol* protocol);

/// Closing progress of 100 percent, then the log with the flag of the NVMe tests.
void showThenLogFlagged(TestListener* listener, MessageLog* log, const std::string& text,
                        Severity severity);

}  // namespace ostria::storage
