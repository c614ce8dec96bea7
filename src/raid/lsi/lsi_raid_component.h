#pragma once

#include <cstdint>
#include <vector>

#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_component.h"

namespace ostria::storage {

/// A controller reached through the LSI vendor library. The sender is borrowed.
class LsiRaidComponent : public RaidComponent {
 public:
  LsiRaidComponent(std::uint32_t controllerId, LsiSender* sender);

  ProtocolResult getControllerInfo(RaidControllerInfo* info) override;
  ProtocolResult getLogicalDevices(std::vector<RaidLogicalDevice>* devices) override;
  ProtocolResult getPhysicalDrives(std::vector<RaidPhysicalDrive>* drives) override;
  ProtocolResult getDevices(std::vector<RaidDevice>* devices) override;
  void prepare() override;

 private:
  struct Drive {
    RaidPhysicalDrive record;
    bool sata = false;
  };

  ProtocolResult execute(LsiCmd& command);
  /// Number of the array on which a logical drive lies, from the configuration that `prepare` kept.
  std::uint8_t arrayOf(std::uint8_t logicalDrive) const;
  void listMembers(std::uint8_t array, RaidLogicalDevice* device);
  ProtocolResult describeSet(std::uint8_t number, RaidLogicalDevice* device);
  /// A drive that does not answer is left out.
  ProtocolResult listDrives(std::vector<Drive>* drives);

  std::uint32_t controllerId_;
  std::vector<std::uint8_t> adapterData_;
  LsiSender* sender_;
};

/// Name of an LSI RAID level, "UNKNOWN" for one that has none.
std::string lsiLevelName(std::uint8_t primary, std::uint8_t secondary);

}  // namespace ostria::storage
