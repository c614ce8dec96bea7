// How long a drive says that one of its self-tests takes.
#pragma once

#include <chrono>

#include "ostria/storage/identifier.h"
#include "ostria/storage/system_component.h"

namespace ostria::host {

/// Asks the drive, for a self-test alone. 0 when it does not say, or for any other test.
std::chrono::seconds selfTestTime(const storage::Identifier& test,
                                  storage::SystemComponent& component);

}  // namespace ostria::host
