#pragma once

#include <array>
#include <cstdint>

namespace ostria::storage {

/// What a SMART attribute may cost a disk's health, in percent points: the raw value times the
/// weight, at most `maximum`.
struct HealthPenalty {
  std::uint8_t attribute;
  double maximum;
  std::uint32_t weight;
};

inline constexpr std::array<HealthPenalty, 7> kHealthPenalties = {{
    {5, 70.0, 2},
    {10, 50.0, 2},
    {184, 50.0, 1},
    {196, 40.0, 1},
    {197, 40.0, 1},
    {198, 70.0, 2},
    {201, 20.0, 1},
}};

/// Attributes that cost a tenth of the health each while they are below their threshold.
inline constexpr std::array<std::uint8_t, 13> kCriticalAttributes = {1,  2,   3,   4,   7,   8,  9,
                                                                     12, 184, 225, 194, 199, 193};

}  // namespace ostria::storage
