#pragma once

#include <string>

namespace ostria::storage {

/// What the command-line host prints for the module's help.
std::string storageHelpText();

}  // namespace ostria::storage
