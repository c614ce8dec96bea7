// RAID controllers on Linux.
#include "raid/csmi/csmi_send.h"
#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_adapter.h"

namespace ostria::storage {

// The kernel shows the members of chipset RAID as disks of their own, and there is no sender yet
// for controllers that hide them: no controller is found, and that is no failure.
CsmiSend* csmiSend() { return nullptr; }
LsiSender* getLsiSender() { return nullptr; }
std::unique_ptr<DeviceScanFilter> makeRaidPortFilter() { return nullptr; }
std::string raidDriverVersion(const std::string& /*hardwareId*/) { return {}; }

}  // namespace ostria::storage
