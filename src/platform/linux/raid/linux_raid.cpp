// RAID controllers on Linux. The kernel shows the members of chipset RAID as disks of their own, so
// there is nothing to be found over CSMI; LSI controllers hide theirs, and their driver leads to
// them.
#include "platform/linux/raid/linux_lsi_sender.h"
#include "raid/csmi/csmi_send.h"
#include "raid/raid_adapter.h"

namespace ostria::storage {

CsmiSend* csmiSend() { return nullptr; }
std::unique_ptr<DeviceScanFilter> makeRaidPortFilter() { return nullptr; }

LsiSender* getLsiSender() {
  // Never freed: protocols of drives hold it. Controllers may appear later.
  static LsiSender* sender = nullptr;
  if (sender == nullptr) {
    auto node = std::make_unique<MegaraidNode>();
    if (!node->controllers().empty()) {
      sender = new LinuxLsiSender(std::move(node));
    }
  }
  return sender;
}

std::string raidDriverVersion(const std::string& hardwareId) {
  // All controllers that are found here are served by the one driver.
  return hardwareId.empty() ? std::string() : MegaraidNode().version();
}

}  // namespace ostria::storage
