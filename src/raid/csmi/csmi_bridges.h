#pragma once

#include "raid/csmi/csmi_send.h"
#include "transport/ata/ata_bridge.h"
#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage {

/// SCSI to a drive behind a CSMI controller. The sender may be null; sends then fail.
class CsmiSspBridge : public ScsiBridge {
 public:
  CsmiSspBridge(DeviceHandle port, CsmiSend* sender, const CsmiPhyEntry& phy)
      : ScsiBridge(port), sender_(sender), phy_(phy) {}
  ProtocolResult Send(ScsiCmd& command) override;

 private:
  CsmiSend* sender_;
  CsmiPhyEntry phy_;
};

/// ATA to a drive behind a CSMI controller. The sender may be null; sends then fail.
class CsmiStpBridge : public AtaBridge {
 public:
  CsmiStpBridge(DeviceHandle port, CsmiSend* sender, const CsmiPhyEntry& phy)
      : AtaBridge(port), sender_(sender), phy_(phy) {}
  ProtocolResult Send(AtaCmd& command) override;

 private:
  CsmiSend* sender_;
  CsmiPhyEntry phy_;
};

}  // namespace ostria::storage
