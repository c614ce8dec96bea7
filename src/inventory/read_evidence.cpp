// SCSI alone has one result for a bad sector and for broken electronics: sense keys MEDIUM ERROR
// and HARDWARE ERROR. ATA reports the latter as a device fault.
#include "inventory/read_evidence.h"

#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage {

bool lastReadMetHardwareError(const StorageProtocol& protocol) {
  const auto* const scsi = dynamic_cast<const ScsiProtocol*>(&protocol);
  return scsi != nullptr && scsi->LastReadMetHardwareError();
}

}  // namespace ostria::storage
