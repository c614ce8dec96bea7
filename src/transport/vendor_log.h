// The vendor log, under one number in ATA (general-purpose log) and NVMe (log page).
#pragma once

#include <cstdint>

namespace ostria::storage {

inline constexpr std::uint8_t kVendorLog = 0xDF;

}  // namespace ostria::storage
