#pragma once

#include <string>

#include "host/core/model/results.h"

namespace ostria::host {

/// The run as one HTML file that needs nothing beside it: the machine, each device with its
/// identity, state, SMART data, verdicts and a map of its surface where one was scanned.
std::string htmlReport(const Session& session);

}  // namespace ostria::host
