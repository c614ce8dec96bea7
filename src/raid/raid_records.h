#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/kinds.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// What a RAID controller says about itself.
struct RaidControllerInfo {
  std::string serial;
  std::string model;
  std::string biosVersion;
  std::string driverVersion;
  std::string platform;  ///< "IMSM_CAPABILITIES_NOT_FOUND" means none
  std::uint32_t logicalDeviceCount = 0;
  std::uint32_t physicalDeviceCount = 0;
  std::vector<std::string> raidLevels;        ///< what the controller can do
  std::vector<std::string> interfaces;        ///< link types
  std::string udi;                            ///< unique identifier of the controller
  std::array<std::uint8_t, 3> pciLocation{};  ///< bus, device, function; 0 when unknown
};

/// A RAID set.
struct RaidLogicalDevice {
  virtual ~RaidLogicalDevice() = default;

  StorageBusKind busKind = StorageBusKind::Unknown;
  std::uint32_t index = 0;
  std::string raidLevel;  ///< level name, or "UNKNOWN"
  std::uint32_t physicalDeviceCount = 0;
  std::string sizeText;  ///< when the source gives a text
  std::string name;
  std::vector<std::uint32_t> memberIndexes;  ///< addresses of the drives on the controller
  std::uint64_t size = 0;                    ///< bytes; used when `sizeText` is empty
  std::vector<std::string> memberNames;      ///< serial numbers of the drives
  std::string state;
};

/// A drive behind a RAID controller, as it identifies itself.
struct RaidPhysicalDrive {
  virtual ~RaidPhysicalDrive() = default;

  StorageBusKind busKind = StorageBusKind::Unknown;  ///< how the drive is spoken to
  std::uint32_t index = 0;
  std::string manufacturer;
  std::string model;
  std::string serial;
  std::uint64_t size = 0;      ///< bytes
  std::uint32_t deviceId = 0;  ///< address on the controller
  std::string state;
};

/// A drive that can be tested through its controller.
struct RaidDevice {
  std::unique_ptr<StorageProtocol> protocol;
  std::unique_ptr<StorageProtocol> ataProtocol;  ///< for a SATA drive behind SCSI; may be null
  std::string name;                              ///< tells it apart across scans
  StorageBusKind busKind = StorageBusKind::Unknown;
  std::optional<std::uint32_t> address = {};  ///< on the controller, as sets name their members
};

}  // namespace ostria::storage
