// What RAID controllers have beside their drives.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostria::virtual_pc {

/// A planned fault of a controller's own requests. Of `error`, `returnCode` and `patch` one counts.
struct RequestFault {
  std::uint32_t code = 0;        ///< control code (CSMI) or command code (LSI)
  std::uint32_t occurrence = 1;  ///< the first request with that code that is hit, from 1
  std::uint32_t times = 1;       ///< how many are hit in a row; 0 is all from there on
  std::uint32_t error = 0;       ///< the system's error (CSMI), the library's result (LSI)
  std::uint32_t returnCode = 0;  ///< what the driver says instead of an answer (CSMI)
  std::uint32_t patchAt = 0;
  std::vector<std::uint8_t> patch;  ///< bytes laid over the good answer from `patchAt` on
};

/// A RAID set of a CSMI controller.
struct CsmiSetDescription {
  std::uint8_t type = 2;
  std::uint32_t capacityMebibytes = 0;
  std::vector<std::string> drives;
};

struct CsmiDescription {
  std::uint32_t flags = 2;  ///< of the controller
  std::array<std::uint16_t, 4> biosVersion{};
  std::uint32_t drivesPerSet = 8;
  std::vector<CsmiSetDescription> sets;
  std::vector<RequestFault> faults;
};

/// A logical drive of an LSI controller.
struct LsiSetDescription {
  std::uint8_t primary = 0;
  std::uint8_t secondary = 0;
  std::uint8_t spanDepth = 1;
  std::uint64_t blocks = 0;  ///< of 512 bytes
  std::vector<std::string> drives;
};

/// An entry of the drive list that is no disk.
struct LsiForeignDescription {
  std::uint16_t deviceId = 0;
  std::uint8_t type = 13;  ///< SCSI peripheral device type
};

struct LsiDescription {
  std::uint32_t id = 0;
  std::string product;
  std::string serial;
  std::string biosVersion;
  std::uint32_t raidLevels = 0;  ///< mask
  std::uint8_t interfaces = 0;   ///< mask
  std::vector<LsiSetDescription> sets;
  std::vector<LsiForeignDescription> foreign;
};

/// The library through which LSI controllers are reached. Only a machine with one of them has it.
struct StorelibDescription {
  std::string function = "ProcessLibCommand";  ///< what it exports
  std::vector<RequestFault> faults;
};

}  // namespace ostria::virtual_pc
