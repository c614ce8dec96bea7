// What the program may do, which is less than what whoever started it may.
#pragma once

namespace ostria::host {

/// What a run does beside asking drives.
struct Undertaking {
  bool volumes = false;  ///< takes volumes off line, mounts them again, starts checkers
  bool files = false;    ///< writes files for the user, or to volumes that are mounted
};

/// Gives up the rights that the run does not need, for the rest of the process. To be called when
/// everything that the user named has been read, and before the first answer of a device.
void keepRightsFor(const Undertaking& run);

}  // namespace ostria::host
