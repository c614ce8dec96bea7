// WMI values to and from variants.
#pragma once

#include <oleauto.h>

#include "virtual_pc/system/services/wmi_repository.h"

namespace ostria::virtual_pc {

/// Fills a variant, which must be empty or initialised, with a copy of the value.
void toVariant(const WmiValue& value, VARIANT* out);

/// Copy of what a variant holds; none for a type that the repository does not keep.
WmiValue fromVariant(const VARIANT& value);

}  // namespace ostria::virtual_pc
