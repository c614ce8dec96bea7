#pragma once

#include <string>

#include "inventory/recording/drive_recorder.h"
#include "inventory/storage_component.h"

namespace ostria::storage {

/// The object of a drive in a machine file: keys that say what the drive is, for the model that
/// takes its place where nothing was recorded, and the recorded answers.
std::string driveObject(const StorageComponent& component, const StorageProtocolProperties& device,
                        const DriveRecorder& recorded);

}  // namespace ostria::storage
