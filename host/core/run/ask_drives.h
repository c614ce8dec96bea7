// What is asked of drives beside tests: their health, and all that they say of themselves.
#pragma once

#include <functional>

#include "host/core/model/module_catalogue.h"
#include "host/core/model/results.h"
#include "host/core/run/redact.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Asks each drive of the session that was not asked yet for its health.
/// @param isAbortRequested  a user who stops is not kept waiting
void askDrives(Session& session, storage::SystemComponentManager& manager, const Texts& texts,
               const Redactor& redactor, const std::function<bool()>& isAbortRequested);

/// Fills in everything that the drives of the session say of themselves.
/// @param beforeEach  called before each drive; may throw
void describeDrives(Session& session, storage::SystemComponentManager& manager,
                    const Catalogue& catalogue, const Texts& texts, const Redactor& redactor,
                    const std::function<void()>& beforeEach);

}  // namespace ostria::host
