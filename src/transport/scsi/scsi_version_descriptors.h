#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ostria::storage {

/// A version descriptor value of standard INQUIRY data and the standard that it stands for.
struct ScsiVersionDescriptor {
  std::uint16_t code;
  std::string_view text;
};

/// Rows sorted by code, one per code.
std::span<const ScsiVersionDescriptor> scsiVersionDescriptors();

}  // namespace ostria::storage
