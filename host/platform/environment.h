// What the surroundings of the program say: its language, and what it hands to the module.
#pragma once

#include <string>

namespace ostria::host {

/// The user's languages in order, such as "de_DE.UTF-8" or "de:fr"; empty when they are not known.
std::string userLocales();

/// The folder of texts of the user's own; empty when there is none that may be trusted.
std::string userTextsFolder();

/// Sets a variable of this process, which the module reads. An empty value removes it.
void setVariable(const std::string& name, const std::string& value);

}  // namespace ostria::host
