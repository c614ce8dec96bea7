// What the surroundings of the program say: its language, and what it hands to the module.
#pragma once

#include <string>

namespace ostria::host {

/// The user's language as "de", or as "de_DE.UTF-8" when the system has more of it; empty when it
/// is not known.
std::string userLocale();

/// Sets a variable of this process, which the module reads. An empty value removes it.
void setVariable(const std::string& name, const std::string& value);

}  // namespace ostria::host
