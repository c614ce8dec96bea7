#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ostria/storage/configuration.h"

namespace ostria::storage {

enum class Setting { Absent, Taken, Unusable };

/// Takes a decimal number from the section of this module's settings.
/// @param most   largest value that can be used
/// @param value  set when the setting is `Taken`
/// @param error  filled when it is `Unusable`; may be null
Setting takeNumber(const std::map<std::string, std::string>& section, const char* key,
                   std::uint64_t most, std::uint64_t* value, ConfigurationError* error);

}  // namespace ostria::storage
