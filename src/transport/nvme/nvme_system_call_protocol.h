#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "transport/nvme/nvme_identify_record.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// An NVMe drive reached through the operating system's storage queries. The abstract form, for the
/// callers that need its operations beside those of `StorageProtocol` (by downcast after
/// `ProtocolKind::NvmeSystemCall`).
class NvmeSystemCallProtocol : public StorageProtocol {
 public:
  /// Reads a log page. @return `Success`, or `Failure` for anything wrong on the way
  virtual ProtocolResult GetLogPage(void* buffer, std::uint32_t bytes, std::uint32_t log,
                                    std::uint32_t subValue) = 0;
  virtual ProtocolResult GetVendorLog(void* buffer) = 0;  ///< log DFh, 512 bytes
  virtual ProtocolResult GetHealthLog(void* buffer) = 0;  ///< log 02h, 512 bytes
  virtual bool GetIdentifyRecord(NvmeIdentifyRecord* record) = 0;
};

/// Whether the operating system's storage queries reach an NVMe controller behind `handle`. False
/// on a platform without such queries.
bool probeNvmeSystemCall(DeviceHandle handle);

/// A protocol on `handle`, of no kind yet; null on a platform without such queries.
std::unique_ptr<StorageProtocol> makeNvmeSystemCallProtocol(DeviceHandle handle,
                                                            const std::string& path);

}  // namespace ostria::storage
