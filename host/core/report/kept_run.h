// What of a session is kept.
#pragma once

#include "host/core/model/history.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// The drives that took part, and everything that began.
KeptRun keptRunOf(const Session& session, const std::string& programVersion, const Texts& texts);

}  // namespace ostria::host
