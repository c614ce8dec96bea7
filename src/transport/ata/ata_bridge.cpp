// The direct way: the operating system's own ATA pass-through.
#include "transport/ata/ata_bridge.h"

#include "transport/hal/hal_ata_send.h"

namespace ostria::storage {

ProtocolResult AtaBridge::Send(AtaCmd& command) { return halAtaSend().Send(handle_, command); }

}  // namespace ostria::storage
