#pragma once

#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage {

/// An NVMe drive of which only a SCSI translation is reachable.
class NvmeScsiProtocol final : public ScsiProtocol {
 public:
  /// As for SCSI. The cached record, and not `out`, then says that SMART is supported and no
  /// self-test is.
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  /// Nothing to switch: `Success` without device traffic.
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override;
};

}  // namespace ostria::storage
