// Makes the models of a drive from its description.
#pragma once

#include <memory>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/drive.h"

namespace ostria::virtual_pc {

/// Builds a drive of any kind. The clock outlives it.
std::unique_ptr<Drive> makeDrive(const DriveDescription& description, Clock& clock);

}  // namespace ostria::virtual_pc
