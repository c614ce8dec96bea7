#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>

#include "base/protocol_result.h"

namespace ostria::storage {

/// Sense keys of SPC, by the names of the standard. A device may send any other value of 4 bits.
enum class SenseKey : std::uint8_t {
  NoSense = 0x0,
  RecoveredError = 0x1,
  NotReady = 0x2,
  MediumError = 0x3,
  HardwareError = 0x4,
  IllegalRequest = 0x5,
  UnitAttention = 0x6,
  DataProtect = 0x7,
  AbortedCommand = 0xB,
  Miscompare = 0xE,
};

/// One block of SCSI sense data, decoded. What lies behind the given bytes is never looked at,
/// whatever lengths the data claim.
class ScsiSense {
 public:
  /// Three bytes of a descriptor.
  using DescriptorBytes = std::array<std::uint8_t, 3>;
  /// The descriptor with the sense-key-specific bytes, the only one that is kept.
  static constexpr std::uint32_t kSenseKeySpecific = 2;

  /// Fixed (70h, 71h) or descriptor format (72h, 73h).
  /// @return `CommandUnusable` for another format, or when the block is too short to hold key and
  ///         additional sense code
  ProtocolResult Decode(std::span<const std::uint8_t> raw);

  std::uint8_t GetResponseCode() const { return responseCode_; }
  SenseKey GetSenseKey() const { return senseKey_; }
  std::uint8_t GetAsc() const { return asc_; }
  std::uint8_t GetAscq() const { return ascq_; }
  /// @return `Failure`, with `out` as it was, when the block has no such descriptor
  ProtocolResult GetDescriptor(std::uint32_t type, DescriptorBytes& out) const;

 private:
  void DecodeFixed(std::span<const std::uint8_t> raw);
  void WalkDescriptors(std::span<const std::uint8_t> raw);

  std::uint8_t responseCode_ = 0;
  SenseKey senseKey_ = SenseKey::NoSense;
  std::uint8_t asc_ = 0;
  std::uint8_t ascq_ = 0;
  std::map<std::uint32_t, DescriptorBytes> descriptors_;
};

}  // namespace ostria::storage
