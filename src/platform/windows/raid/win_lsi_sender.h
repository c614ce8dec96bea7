#pragma once

#include <memory>

#include "raid/lsi/lsi_cmd.h"

namespace ostria::storage {

/// Loads the vendor library that lies beside the host program, and asks it for its controllers as a
/// test. The library stays loaded as long as the sender lives.
/// @return null when the library, its function or its controllers are not there
std::unique_ptr<LsiSender> openLsiSender();

}  // namespace ostria::storage
