#pragma once

#include <cstdint>

#include "ostria/storage/test.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// Status of ATA and SCSI drives while a routine runs.
inline constexpr std::uint8_t kSelfTestInProgress = 15;
/// No drive's status: nothing was read yet.
inline constexpr std::uint8_t kUnknownSelfTestStatus = 0xFF;

/// Reports the final status of an ATA or SCSI drive's routine and turns it into a result;
/// `CouldNotStart` for any other kind of protocol.
TestResult judgeSelfTestStatus(StorageProtocol& protocol, std::uint8_t status,
                               TestListener* listener, MessageLog* log);

}  // namespace ostria::storage
