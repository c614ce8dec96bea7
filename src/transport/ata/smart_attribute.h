// The record in which SMART attributes leave the protocol.
#pragma once

#include <cstdint>

namespace ostria::storage {

#pragma pack(push, 1)
/// One ATA SMART attribute, as the protocol reports it. Packed: copy `raw` before binding it to a
/// reference.
struct SmartAttribute {
  std::uint8_t id;
  std::uint8_t value;  ///< normalised, 1 to 253
  std::uint8_t worst;
  std::uint32_t raw;       ///< low 32 bits of the raw value
  std::uint8_t threshold;  ///< 0 when the drive gives none
};
#pragma pack(pop)
static_assert(sizeof(SmartAttribute) == 8);

}  // namespace ostria::storage
