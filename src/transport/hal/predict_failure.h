// The seam for the operating system's own failure prediction, asked where a drive gives none.
#pragma once

#include "base/device_handle.h"
#include "base/protocol_result.h"

namespace ostria::storage {

/// Asks the operating system whether it predicts a failure of the open device.
/// @param failing  written on success only
/// @return `Success`, or `TransportFailure` when the platform has no answer
ProtocolResult queryPredictedFailure(DeviceHandle handle, bool* failing);

}  // namespace ostria::storage
