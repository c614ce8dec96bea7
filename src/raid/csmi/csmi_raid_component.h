#pragma once

#include <optional>
#include <string>
#include <vector>

#include "raid/csmi/csmi_send.h"
#include "raid/raid_component.h"

namespace ostria::storage {

/// A controller whose miniport speaks CSMI, chiefly chipset RAID. The port's handle is borrowed.
/// Its drives are looked for once in the life of the object: each look costs a command to every
/// drive, and a drive that dies takes the whole time-out for each.
class CsmiRaidComponent : public RaidComponent {
 public:
  /// @param hardwareId  "PCI\VEN_xxxx&DEV_yyyy..."; also the controller's unique identifier
  CsmiRaidComponent(DeviceHandle port, std::string adapterName, std::string hardwareId,
                    CsmiSend* sender);

  ProtocolResult getControllerInfo(RaidControllerInfo* info) override;
  ProtocolResult getLogicalDevices(std::vector<RaidLogicalDevice>* devices) override;
  ProtocolResult getPhysicalDrives(std::vector<RaidPhysicalDrive>* drives) override;
  ProtocolResult getDevices(std::vector<RaidDevice>* devices) override;

 private:
  /// Sends a question about the controller itself.
  ProtocolResult ask(CsmiCmd& command);
  ProtocolResult findDrives(std::vector<RaidDevice>* devices);
  void findNvmeDrives(std::vector<RaidDevice>* devices);
  bool isIntel() const;
  /// @param position  phy or path of the drive on this controller
  std::string deviceName(const std::string& position) const;

  CsmiSend* sender_;
  std::string hardwareId_;
  std::optional<std::vector<RaidPhysicalDrive>> drives_;
  std::vector<RaidDevice> devices_;  ///< found with `drives_`, until `getDevices` gives them out
};

/// Name of a CSMI RAID type, "UNKNOWN" for one that has none.
std::string csmiLevelName(std::uint8_t type);

}  // namespace ostria::storage
