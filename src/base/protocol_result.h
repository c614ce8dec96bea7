#pragma once

#include <cstdint>

namespace ostria::storage {

/// Result of every protocol, bridge and platform send. Another number space than `TestResult`.
enum class [[nodiscard]] ProtocolResult : std::uint32_t{
    Success = 0,
    Failure = 1,          ///< generic: empty bridge list, null output, data that fails validation
    InvalidArgument = 2,  ///< null buffer, or logical sector size below 512
    NotSupported = 4,     ///< the protocol or bridge has no way of doing it
    ScsiStatusNotGood = 33,  ///< the SCSI status of a wrapped command is not GOOD
    TransportFailure = 34,   ///< the platform call failed
    InvalidDeviceData = 35,  ///< IDENTIFY or mode data failed validation
    ControllerRefused = 66,  ///< a RAID controller answered a question about itself with a failure
    InterfaceCrcError = 74,  ///< read failed with an interface error
    MediumError = 75,        ///< read failed with a medium error; raw read came back short
    RegistersUnavailable = 77,  ///< a SAT bridge got no ATA Status Return descriptor
    CommandRejected = 78,       ///< sense key 5 or 7; empty SCSI bridge list
    CommandUnusable = 79,  ///< sense data in no known format; no CDB reaches the end of the device
    DeviceError = 88,      ///< the device set its error bit; a log or identify read failed
    NoDataReturned = 89,   ///< an ATA data-in command came back with zero bytes
    SelfTestAbortedByDevice = 108,  ///< ATA self-test start: ABRT
    SelfTestIdNotFound = 109,       ///< ATA self-test start: IDNF
    VolumeFull = 112,               ///< a write to a file found no room on its volume
    AccessDenied = 125,             ///< the platform refuses for lack of rights
    ReadTimeout = 134,              ///< raw read ran out of time
    WriteTimeout = 135,             ///< raw write ran out of time
    NoPath = 0xFFFFFFFFu            ///< this send reaches no device on this platform
};

constexpr bool succeeded(ProtocolResult result) { return result == ProtocolResult::Success; }

}  // namespace ostria::storage
