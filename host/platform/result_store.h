// The one place of a machine where results are kept.
#pragma once

#include <memory>

#include "host/core/model/history.h"

namespace ostria::host {

/// The store of this user; nothing is opened or made before it is used.
std::unique_ptr<History> resultStore();

}  // namespace ostria::host
