#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/kinds.h"

namespace ostria::storage {

/// Everything that a device says about itself, whatever it speaks. Filled by
/// `StorageProtocol::GetProperties`; copies are independent.
class StorageProtocolProperties {
 public:
  virtual ~StorageProtocolProperties() = default;
  StorageProtocolProperties() = default;
  StorageProtocolProperties(const StorageProtocolProperties&) = default;
  StorageProtocolProperties& operator=(const StorageProtocolProperties&) = default;

  std::string protocolName;            ///< "ATA", "SCSI", "NVMe", "EMMC"
  std::vector<std::string> standards;  ///< standards that the device claims
  std::string standardVersion;         ///< empty when unknown
  bool solidState = false;             ///< the medium does not rotate
  std::string serialNumber;
  std::string modelNumber;
  std::string firmwareRevision;
  std::string vendor;
  std::string fruPartNumber;             ///< 30 characters of vendor log DFh, as they stand
  std::uint64_t totalSectors = 0;        ///< logical sectors
  std::uint32_t logicalSectorSize = 0;   ///< bytes; 0 when unknown: reads are refused
  std::uint32_t physicalSectorSize = 0;  ///< bytes
  std::uint32_t cacheSize = 0;           ///< logical sectors
  std::uint16_t rotationRate = 0;        ///< revolutions per minute; 0 unknown or not rotating
  bool removable = false;                ///< SCSI only
  bool securitySupported = false;
  bool securityLocked = false;
  bool smartSupported = false;
  bool smartEnabled = false;
  bool lba48Supported = false;
  /// Input as well as output: a caller sets `Usb` before `GetProperties` of a SCSI protocol, which
  /// then leaves the IEC mode page alone.
  StorageBusKind busKind = StorageBusKind::Unknown;
  bool smartDataValid = false;             ///< the SMART data page could be read
  bool offlineImmediateSupported = false;  ///< SMART capability bit 0
  bool selfTestAbortSupported = false;     ///< SMART capability bit 2
  bool selfTestSupported = false;          ///< SMART capability bit 4
  bool conveyanceSupported = false;        ///< SMART capability bit 5
};

}  // namespace ostria::storage
