// What a host needs beside the attributes for its verdict on a drive: whether it answers or sleeps,
// its own status, the system's prediction and its newest self-test.
#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Builds rows {"description","data"} as the other reports have them:
/// "Access" "yes" or "no"; "Power Mode" "standby", of a drive that sleeps; "SMART" "supported",
/// "disabled" or "not supported"; "SMART Status" "good", "failing" or "unreadable"; "Prediction" of
/// the operating system, "good" or "failing"; "Self-Test" "passed" or "failed CODE", of the newest
/// one that came to its end. "no" is a drive, too, whose reads did not end when it was identified.
/// What was not asked has no row. A drive that sleeps is asked for
/// nothing else, and neither is one that does not answer, as each command would cost its time-out.
bool makeHealthReport(StorageComponent& component, std::string& text);

}  // namespace ostria::storage
