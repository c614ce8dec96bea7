// The one place of a machine where results are kept.
#pragma once

#include <memory>

#include "host/core/model/history.h"
#include "host/core/patience.h"

namespace ostria::host {

/// The store of this user; nothing is opened or made before it is used.
/// @param patience  how long it waits for another program that uses the store
std::unique_ptr<History> resultStore(Patience patience);

}  // namespace ostria::host
