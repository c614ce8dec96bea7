#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/protocol_result.h"
#include "transport/nvme/nvme_identify_record.h"
#include "transport/vendor_log.h"

namespace ostria::storage {

// How the answers of an NVMe controller are read, whichever transport they came by. Layouts are
// those of the NVMe base and NVM command set standards.

inline constexpr std::uint32_t kNvmeIdentifyBytes = 4096;
inline constexpr std::uint32_t kNvmeHealthLogBytes = 512;
inline constexpr std::uint32_t kNvmeSelfTestLogBytes = 564;
inline constexpr std::uint32_t kNvmeVendorLogBytes = 512;

inline constexpr std::uint32_t kNvmeHealthLog = 0x02;
inline constexpr std::uint32_t kNvmeSelfTestLog = 0x06;
inline constexpr std::uint32_t kNvmeEnduranceGroupLog = 0x09;
inline constexpr std::uint32_t kNvmeVendorLog = kVendorLog;

using NvmeIdentifyData = std::array<std::uint8_t, kNvmeIdentifyBytes>;
using NvmeHealthLogData = std::array<std::uint8_t, kNvmeHealthLogBytes>;
using NvmeSelfTestLogData = std::array<std::uint8_t, kNvmeSelfTestLogBytes>;
using NvmeVendorLogData = std::array<std::uint8_t, kNvmeVendorLogBytes>;

/// Number of optional admin commands that a controller supports, as bits.
inline constexpr unsigned kNvmeOacsNamespaceManagement = 1u << 3;
inline constexpr unsigned kNvmeOacsSelfTest = 1u << 4;
std::uint16_t nvmeOptionalAdminCommands(const NvmeIdentifyData& controller);

/// A text field of identify data without the blanks around it, up to a zero byte; anything not
/// printable is "?".
std::string nvmeText(const std::uint8_t* field, std::size_t bytes);

/// Fills identifiers, texts and controller attributes of the record; the other fields stay.
void readNvmeController(const NvmeIdentifyData& controller, NvmeIdentifyRecord& record);

struct NvmeNamespaceGeometry {
  std::uint64_t sectors = 0;
  std::uint32_t sectorSize = 0;  ///< bytes; 0 for a format that no drive can have
};

/// @return `DeviceError`, with `geometry` as it was, for a namespace without size or capacity
ProtocolResult readNvmeNamespace(const NvmeIdentifyData& data, NvmeNamespaceGeometry& geometry);

/// Degrees Celsius of the composite temperature, right between 256 K and 510 K; nothing for 0 K,
/// which means that the drive does not measure it.
std::optional<std::uint8_t> nvmeTemperature(const NvmeHealthLogData& log);

/// What the health log counts of failed commands. An error that leaves no trace in the data moves
/// one of them.
struct NvmeErrorCounters {
  std::array<std::uint8_t, 16> mediaErrors{};  ///< little-endian
  std::array<std::uint8_t, 16> errorEntries{};
};
NvmeErrorCounters nvmeErrorCounters(const NvmeHealthLogData& log);

/// Remaining life in percent: what the percentage used leaves of 100.
std::uint32_t nvmeWearIndicator(const NvmeHealthLogData& log);

// The self-test log: which test runs (0 none), how far it is, and the result of the newest one.
std::uint8_t nvmeSelfTestOperation(const NvmeSelfTestLogData& log);
std::uint8_t nvmeSelfTestPercent(const NvmeSelfTestLogData& log);
std::uint8_t nvmeSelfTestResult(const NvmeSelfTestLogData& log);

/// The value of a log page, for an operation that gives it to its caller.
/// @param out   null gives `InvalidArgument`; as it was, when the page could not be read
/// @param read  fills the page
/// @param pick  finds the value in it
template <typename Page, typename Value, typename Read>
ProtocolResult readNvmeValue(Value* out, Read read, Value (*pick)(const Page&)) {
  if (out == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  Page page{};
  const ProtocolResult result = read(page);
  if (succeeded(result)) {
    *out = pick(page);
  }
  return result;
}

/// The part number of vendor log DFh, as it stands up to a zero byte; empty when it is blank or no
/// printable ASCII.
std::string nvmePartNumber(const NvmeVendorLogData& log);

}  // namespace ostria::storage
