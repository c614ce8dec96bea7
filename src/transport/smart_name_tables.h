// Where the tables of SMART names come from: each lies in the room of its command set.
#pragma once

#include <span>

#include "transport/smart_names.h"

namespace ostria::storage {

/// Rows sorted by key, one per key.
std::span<const SmartName> smartAttributeNameTable();
std::span<const SmartName> nvmeSmartFieldNameTable();

}  // namespace ostria::storage
