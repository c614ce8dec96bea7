#pragma once

#include <cstdint>

namespace ostria::storage {

/// How an operation of a tool ended; shown to the host in decimal. Another number space than
/// `TestResult` and `ProtocolResult`.
enum class ToolStatus : std::int32_t {
  Finished = 0,        ///< nothing found
  DeviceRejected = 2,  ///< the device rejected a read
  Scheduled = 3,       ///< the check will be made at the next start of the system
  ScheduleFailed = 4,  ///< the user wanted it scheduled, but that failed
  CouldNotRun = 6,     ///< the operation could not run
  Stopped = 8,         ///< aborted, not scheduled, or the device no longer answers
  Repaired = 9,        ///< errors were found, and none stayed known to be unrepaired
  NotRepaired = 10,    ///< bad sectors were found and at least one could not be repaired
  Recorded = 12,       ///< a bad sector was noted; never the end of an operation
  SystemEvent = 13,    ///< stopped by a system event
  ReadTimeout = 14,    ///< a read timed out
  WriteTimeout = 15,   ///< a repair timed out; never the end of an operation
};

}  // namespace ostria::storage
