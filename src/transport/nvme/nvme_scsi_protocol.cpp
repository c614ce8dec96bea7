// NVMe behind a driver's SCSI translation, which has neither self-tests nor an exceptions page.

#include "transport/nvme/nvme_scsi_protocol.h"

namespace ostria::storage {

ProtocolResult NvmeScsiProtocol::GetProperties(StorageProtocolProperties* out) {
  const ProtocolResult result = ScsiProtocol::GetProperties(out);
  properties_->smartSupported = true;
  properties_->selfTestSupported = false;
  properties_->conveyanceSupported = false;
  properties_->offlineImmediateSupported = false;
  return result;
}

ProtocolResult NvmeScsiProtocol::SetSmartEnabled(std::uint8_t /*enable*/) {
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
