// Sense data of SPC in both formats. They come from the device, cut anywhere.

#include "transport/scsi/scsi_sense.h"

#include <algorithm>

namespace ostria::storage {

ProtocolResult ScsiSense::Decode(std::span<const std::uint8_t> raw) {
  *this = ScsiSense();
  if (raw.empty()) {
    return ProtocolResult::CommandUnusable;
  }
  responseCode_ = raw[0] & 0x7F;
  switch (responseCode_) {
    case 0x70:
    case 0x71:
      if (raw.size() < 14) {
        return ProtocolResult::CommandUnusable;
      }
      DecodeFixed(raw);
      return ProtocolResult::Success;
    case 0x72:
    case 0x73:
      if (raw.size() < 4) {
        return ProtocolResult::CommandUnusable;
      }
      senseKey_ = static_cast<SenseKey>(raw[1] & 0x0F);
      asc_ = raw[2];
      ascq_ = raw[3];
      WalkDescriptors(raw);
      return ProtocolResult::Success;
    default:
      return ProtocolResult::CommandUnusable;
  }
}

void ScsiSense::DecodeFixed(std::span<const std::uint8_t> raw) {
  senseKey_ = static_cast<SenseKey>(raw[2] & 0x0F);
  asc_ = raw[12];
  ascq_ = raw[13];
  if (raw.size() >= 18) {
    descriptors_[kSenseKeySpecific] = {raw[15], raw[16], raw[17]};
  }
}

void ScsiSense::WalkDescriptors(std::span<const std::uint8_t> raw) {
  if (raw.size() < 8 || raw[7] == 0) {
    return;
  }
  // The additional length counts from the byte behind it.
  const std::size_t end = std::min<std::size_t>(8u + raw[7], raw.size());
  std::size_t offset = 8;
  while (offset + 2 <= end) {
    if (raw[offset] == kSenseKeySpecific) {
      if (offset + 7 <= end) {
        descriptors_[kSenseKeySpecific] = {raw[offset + 4], raw[offset + 5], raw[offset + 6]};
      }
      return;
    }
    offset += 2u + raw[offset + 1];
  }
}

ProtocolResult ScsiSense::GetDescriptor(std::uint32_t type, DescriptorBytes& out) const {
  const auto found = descriptors_.find(type);
  if (found == descriptors_.end()) {
    return ProtocolResult::Failure;
  }
  out = found->second;
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
