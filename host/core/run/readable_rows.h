// SMART rows as people read them.
#pragma once

#include <vector>

#include "host/core/model/smart_rows.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// Gives each row its readable data ("31 °C (lowest 20, highest 45)"), and the attributes of a
/// solid-state drive the names that they have there.
void makeReadable(std::vector<SmartRow>& rows, bool solidState, const Texts& texts);

}  // namespace ostria::host
