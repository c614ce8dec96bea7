// What RAID controllers have beside their drives.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ostria::virtual_pc {

/// Nothing reaches the controller: the system's error (CSMI), or the library's result (LSI).
struct RequestError {
  std::uint32_t error = 0;
};

/// CSMI: what the driver says instead of an answer.
struct RequestReturnCode {
  std::uint32_t code = 0;
};

/// Bytes laid over the good answer from `at` on.
struct RequestPatch {
  std::uint32_t at = 0;
  std::vector<std::uint8_t> bytes;
};

/// Only so many bytes of the block come back; what lies behind is the caller's own.
struct RequestShort {
  std::uint32_t bytes = 0;
};

/// CSMI pass-through: the connection to the drive was not made or broke. The reply has this status
/// and neither register frame nor SCSI response.
struct RequestConnectionStatus {
  std::uint8_t status = 1;
};

using RequestFaultAction = std::variant<RequestError, RequestReturnCode, RequestPatch, RequestShort,
                                        RequestConnectionStatus>;

/// A planned fault of a controller's own requests.
struct RequestFault {
  std::uint32_t code = 0;        ///< control code (CSMI) or command code (LSI)
  std::uint32_t occurrence = 1;  ///< the first request with that code that is hit, from 1
  std::uint32_t times = 1;       ///< how many are hit in a row; 0 is all from there on
  /// Requests for this drive alone; without one those of the controller and of every drive.
  std::optional<std::string> drive = {};
  RequestFaultAction action = RequestError{};
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
  std::uint8_t number = 0;   ///< by which the controller knows it
  std::uint8_t array = 0;    ///< that it lies on, with others perhaps
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
