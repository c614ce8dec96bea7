#pragma once

#include <cstdint>
#include <string>

namespace ostria::storage {

/// What the identify data of an NVMe controller say, for tests and reports.
struct NvmeIdentifyRecord {
  std::string vendorId;           ///< decimal text of the PCI vendor identifier
  std::string subsystemVendorId;  ///< decimal text
  std::string serialNumber;
  std::string modelNumber;
  std::string firmwareRevision;
  std::uint64_t blockCount = 0;  ///< filled by the system-call protocol only, like the next four
  std::uint32_t blockSize = 0;   ///< bytes
  bool selfTestSupported = false;
  std::uint8_t selfTestOptions = 0;           ///< identify byte 318
  std::uint16_t extendedSelfTestMinutes = 0;  ///< identify bytes 316 and 317
  std::uint32_t controllerAttributes = 0;     ///< identify bytes 96 to 99
};

}  // namespace ostria::storage
