#pragma once

#include "host/cli/questions.h"
#include "host/core/model/module_catalogue.h"
#include "host/core/run/selection.h"
#include "host/core/run/settings.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// Asks whether the self-test routine that a file names may run, where it is a risky one. Throws
/// `Stop` without a yes.
void askForRoutine(const Settings& settings, const Selection& selection, const Catalogue& catalogue,
                   const Texts& texts, Questions& questions);

}  // namespace ostria::host
