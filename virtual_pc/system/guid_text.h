// GUIDs from their text.
#pragma once

#include <guiddef.h>

#include <string>

namespace ostria::virtual_pc {

/// Reads the 36 characters of a GUID that has been checked; zeros for anything else.
GUID parseGuid(const std::string& text);

}  // namespace ostria::virtual_pc
