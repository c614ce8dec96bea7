// Look-up in the tables of SMART names. The tables themselves stand in the rooms of the command
// sets.
#include "transport/smart_names.h"

#include <algorithm>

#include "transport/smart_name_tables.h"

namespace ostria::storage {

namespace {

std::string_view lookUp(std::span<const SmartName> table, std::uint32_t key,
                        std::string_view otherwise) {
  const auto row = std::ranges::lower_bound(table, key, {}, &SmartName::key);
  return row != table.end() && row->key == key ? row->name : otherwise;
}

}  // namespace

std::string_view smartAttributeName(std::uint32_t id) {
  return lookUp(smartAttributeNameTable(), id, "vendor_specific");
}

std::string_view nvmeSmartFieldName(std::uint32_t offset) {
  return lookUp(nvmeSmartFieldNameTable(), offset, "");
}

}  // namespace ostria::storage
