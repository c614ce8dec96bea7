// What is said about volumes of RAID controllers.
#pragma once

#include <string>
#include <vector>

#include "host/core/texts/texts.h"

namespace ostria::host {

/// Adds a notice that names `volumes`, disks as the system calls them; none if there are none.
/// A run that was asked for one of them, by its name or a path that leads to its node, ends with
/// `Stop` and code 2.
void noteVolumes(const std::vector<std::string>& volumes, const std::vector<std::string>& wanted,
                 const Texts& texts, std::vector<std::string>& notices);

}  // namespace ostria::host
