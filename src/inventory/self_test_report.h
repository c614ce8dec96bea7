// What a drive says of the time that its self-tests take.
#pragma once

#include <string>

#include "inventory/storage_component.h"

namespace ostria::storage {

/// Builds rows {"description","data"} "Short", "Extended" and "Conveyance" with seconds, by asking
/// an ATA drive for its polling times and a SCSI drive for its control mode page. A test that the
/// drive gives no time for has no row. False where nothing can be had; drives behind USB are not
/// asked.
bool makeSelfTestReport(StorageComponent& component, std::string& text);

}  // namespace ostria::storage
