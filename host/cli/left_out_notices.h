// What is said about disks that are there and no devices of the list.
#pragma once

#include "host/core/model/results.h"
#include "host/core/run/session_setup.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Adds what the list does not show, and why, to the notices of the session. A run says it only
/// where there is nothing else, and ends with `Stop` and code 3.
/// @param nothing  no device was found
void noteLeftOut(storage::SystemComponentManager& manager, bool list, bool nothing,
                 const FindDeviceNames& names, const Texts& texts, Session& session);

}  // namespace ostria::host
