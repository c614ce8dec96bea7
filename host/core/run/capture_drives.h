// What drives say of themselves, as a machine file for the virtual PC.
#pragma once

#include <functional>
#include <string>

#include "host/core/model/results.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Asks each drive of the session for all that it says of itself. A drive that gives nothing is a
/// notice of the session.
/// @param masked      without what names a single drive
/// @param beforeEach  called before each drive; may throw
/// @return the machine file; empty when no drive gave anything
std::string captureDrives(Session& session, storage::SystemComponentManager& manager, bool masked,
                          const Texts& texts, const std::function<void()>& beforeEach);

}  // namespace ostria::host
