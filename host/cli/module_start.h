// What is done before the module is loaded.
#pragma once

#include <optional>
#include <string>

#include "host/core/texts/texts.h"

namespace ostria::host {

/// Path of the module beside the program. Ends the program with `Stop` and code 6 where the
/// program's own folder is not known: one of the working directory could be anybody's.
std::string trustedModulePath(bool virtualPc, const Texts& texts);

/// Leaves in the environment what the module looks at when it is loaded.
/// @param machineFile  of the virtual PC; nothing: the built-in one
void prepareModule(bool readOnly, const std::optional<std::string>& machineFile);

}  // namespace ostria::host
