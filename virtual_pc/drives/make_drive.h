// Makes the models of a drive from its description.
#pragma once

#include <memory>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/drive.h"

namespace ostria::virtual_pc {

/// Builds a drive of any kind. The clock outlives it.
/// @param controller  NVMe: the drive with whose controller it shares its own, which outlives it;
///                    null: it has one of its own
std::unique_ptr<Drive> makeDrive(const DriveDescription& description, Clock& clock,
                                 Drive* controller = nullptr);

}  // namespace ostria::virtual_pc
