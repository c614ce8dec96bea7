// The table behind the minor version texts.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ostria::storage {

/// A minor version number of IDENTIFY DEVICE data (word 81) and its text.
struct AtaVersion {
  std::uint16_t number;
  std::string_view text;
};

/// Rows sorted by number, one per number.
std::span<const AtaVersion> ataVersions();

}  // namespace ostria::storage
