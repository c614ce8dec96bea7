// Asks a drive for what its verdict is made of, and judges the drives of a session.
#pragma once

#include "host/core/model/results.h"
#include "host/core/run/redact.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component.h"

namespace ostria::host {

/// Fills `device.evidence` with what the drive says. A drive that sleeps is not woken, and one that
/// does not answer is asked once.
void collectHealth(storage::SystemComponent& component, const Texts& texts,
                   const Redactor& redactor, DeviceInfo& device);

/// Judges each drive of the session by its evidence and by what the tests and tools found.
void judgeDevices(Session& session);

}  // namespace ostria::host
