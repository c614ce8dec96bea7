// Names for the numbers of SMART data, as reports show them.
#pragma once

#include <cstdint>
#include <string_view>

namespace ostria::storage {

/// A number of SMART data and its name.
struct SmartName {
  std::uint32_t key;
  std::string_view name;
};

/// The name of an ATA attribute; "vendor_specific" for an id without one.
std::string_view smartAttributeName(std::uint32_t id);

/// The name of the field at a byte offset of the NVMe SMART / Health Information log; empty for an
/// offset where no field begins.
std::string_view nvmeSmartFieldName(std::uint32_t offset);

}  // namespace ostria::storage
