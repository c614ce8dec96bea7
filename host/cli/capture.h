// Recording of drives into a file.
#pragma once

#include <functional>

#include "host/cli/run_files.h"
#include "host/core/model/results.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Records the drives of the session, and writes them to the file that was prepared for them. What
/// became of it is a notice of the session.
/// @param masked      without what names a single drive
/// @param beforeEach  called before each drive; may throw
/// @return `NotPerformed` when a drive gave nothing, `CouldNotStart` when nothing was kept
ExitCode recordDrives(Session& session, storage::SystemComponentManager& manager, bool masked,
                      RunFiles& files, const Texts& texts, const std::function<void()>& beforeEach);

}  // namespace ostria::host
