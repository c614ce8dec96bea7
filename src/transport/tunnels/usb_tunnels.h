// The one list of USB tunnels. An adapter says nowhere how it carries ATA commands, so each way is
// tried by a command.
#pragma once

#include <memory>
#include <span>

#include "transport/ata/ata_bridge.h"
#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage {

/// A way in which USB adapters carry ATA commands inside SCSI.
struct UsbTunnel {
  std::shared_ptr<AtaBridge> (*over)(const std::shared_ptr<ScsiBridge>& scsi);
  /// Carries every command; else IDENTIFY DEVICE alone, which shows a drive but cannot read it.
  bool carriesAll;
};

/// All ways, in the order in which they are tried. The standard comes first, since its commands do
/// no harm to an adapter that does not know them, while a vendor's opcode may mean something else
/// to another vendor's adapter. With CK_COND before without it, because registers then cost no
/// second command.
std::span<const UsbTunnel> usbTunnels();

}  // namespace ostria::storage
