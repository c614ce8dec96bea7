#pragma once

#include <cstdint>

#include "raid/lsi/lsi_cmd.h"
#include "transport/ata/ata_bridge.h"
#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage {

/// SCSI to a drive behind an LSI controller. The sender may be null; sends then fail.
class LsiSspBridge : public ScsiBridge {
 public:
  LsiSspBridge(std::uint32_t controllerId, std::uint16_t deviceId, LsiSender* sender)
      : ScsiBridge(DeviceHandle()),
        controllerId_(controllerId),
        deviceId_(deviceId),
        sender_(sender) {}
  /// @return `Success` when the drive answered, also with CHECK CONDITION: status and sense say
  /// how;
  ///         `TransportFailure` when the library failed the command without an answer of the drive,
  ///         32 bytes of sense come back all the same; `Failure` without a sender
  ProtocolResult Send(ScsiCmd& command) override;

 private:
  std::uint32_t controllerId_;
  std::uint16_t deviceId_;
  LsiSender* sender_;
};

/// ATA to a SATA drive behind an LSI controller. The sender may be null; sends then fail.
class LsiStpBridge : public AtaBridge {
 public:
  LsiStpBridge(std::uint32_t controllerId, std::uint16_t deviceId, LsiSender* sender)
      : AtaBridge(DeviceHandle()),
        controllerId_(controllerId),
        deviceId_(deviceId),
        sender_(sender) {}
  ProtocolResult Send(AtaCmd& command) override;

 private:
  std::uint32_t controllerId_;
  std::uint16_t deviceId_;
  LsiSender* sender_;
};

}  // namespace ostria::storage
