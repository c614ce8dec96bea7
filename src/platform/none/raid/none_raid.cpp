// RAID controllers: no port speaks CSMI, no library or management node reaches an LSI controller.
#include "raid/csmi/csmi_send.h"
#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_adapter.h"

namespace ostria::storage {

CsmiSend* csmiSend() { return nullptr; }

LsiSender* getLsiSender() { return nullptr; }

std::unique_ptr<DeviceScanFilter> makeRaidPortFilter() { return nullptr; }

std::string raidDriverVersion(const std::string&) { return {}; }

}  // namespace ostria::storage
