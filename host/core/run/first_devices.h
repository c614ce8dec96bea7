// How much of the list a command has to know that names its drives.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Lets a scan end with the named drives, when each is named by a number or by a path to a node.
/// Otherwise all of the list has to be known: any drive may have a serial number, a WWN or a link
/// of that name.
/// @param idAt  the module's name of the disk that a path leads to; empty when it is none
void endWithNamedDevices(const std::vector<std::string>& names,
                         const std::function<std::string(const std::string&)>& idAt,
                         storage::ScanDemand& demand);

}  // namespace ostria::host
