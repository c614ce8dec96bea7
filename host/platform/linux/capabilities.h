// The capabilities of the calling thread. The system calls are used as they are: a library for
// three numbers would be one more that runs as root.
#pragma once

#include <cstdint>

namespace ostria::host {

/// The effective set, a bit for each capability; empty when the kernel does not say.
std::uint64_t effectiveCapabilities();

/// Gives up, for this thread and those that it starts, every capability that is not in the set, and
/// the way to get one back by starting a program. It never adds one.
void keepCapabilities(std::uint64_t kept);

}  // namespace ostria::host
