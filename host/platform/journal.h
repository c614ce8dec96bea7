// The system's log, which an administrator can read long after the terminal is gone.
#pragma once

#include <string>

namespace ostria::host {

/// Writes one line. That it could not be written is nobody's business: no operation waits for it.
/// @param line  UTF-8; control characters are the caller's to mask
void writeJournal(const std::string& line);

}  // namespace ostria::host
