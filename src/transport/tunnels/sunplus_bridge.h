// USB adapters from before SAT, second kind.
#pragma once

#include <memory>

#include "transport/ata/ata_bridge.h"
#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage {

/// USB adapters with the Sunplus pass-through. Carries IDENTIFY DEVICE and nothing else: any other
/// command gives `NotSupported` without touching the device.
class SunplusBridge final : public AtaBridge {
 public:
  explicit SunplusBridge(std::shared_ptr<ScsiBridge> scsi) : scsi_(std::move(scsi)) {}
  DeviceHandle GetDeviceHandle() const override { return scsi_->GetDeviceHandle(); }
  ProtocolResult Send(AtaCmd& command) override;

 private:
  std::shared_ptr<ScsiBridge> scsi_;
};

}  // namespace ostria::storage
