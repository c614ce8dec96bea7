#pragma once

#include <cstdint>

#include "base/protocol_result.h"
#include "transport/nvme/nvme_identify_record.h"

namespace ostria::storage {

class StorageProtocol;

/// The log pages and the identity of an NVMe controller, whichever protocol fetches them. It stands
/// beside `StorageProtocol` in both protocols that can. Each call blocks for up to 30 seconds.
class NvmeLogs {
 public:
  /// An answer of nothing but zeros is a failure.
  /// @param bytes       size of `buffer`, a multiple of 4, at least 4; on a failure the contents of
  ///                    the buffer mean nothing
  /// @param identifier  of the thing that the log is about, an endurance group for log 09h; else 0
  virtual ProtocolResult ReadLog(void* buffer, std::uint32_t bytes, std::uint32_t log,
                                 std::uint16_t identifier) = 0;
  /// @param record  not null; the block and self-test fields are filled by the storage queries only
  virtual ProtocolResult ReadIdentity(NvmeIdentifyRecord* record) = 0;

 protected:
  ~NvmeLogs() = default;
};

/// The logs that a protocol offers, as long as the protocol lives; null for any other protocol and
/// for none.
NvmeLogs* nvmeLogsOf(StorageProtocol* protocol);

}  // namespace ostria::storage
