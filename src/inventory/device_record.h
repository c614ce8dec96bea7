#pragma once

#include <cstdint>
#include <string>

#include "base/device_handle.h"
#include "base/kinds.h"
#include "services/scanned_handle.h"

namespace ostria::storage {

/// One opened device inside a scan.
struct DeviceRecord {
  ScannedHandle handle;
  DeviceConnection connection = DeviceConnection::Other;
  StorageBusKind busKind = StorageBusKind::Unknown;
  bool optaneVolume = false;
  std::string path;                ///< what was opened
  std::uint32_t deviceNumber = 0;  ///< the scanner's number
};

}  // namespace ostria::storage
