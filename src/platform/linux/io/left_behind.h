#pragma once

#include <chrono>
#include <functional>

namespace ostria::storage {

/// Work that the kernel may never let go of, a read of a dead disk for instance, on a thread of its
/// own. A thread that does not end in time is left behind, and the module stays loaded for it.
/// @param work  must own all that it touches, also what it leaves its result in
/// @return false when the work has not ended in time, or there is no thread to be had
bool runWithin(std::chrono::milliseconds limit, std::function<void()> work);

/// A thread that still hangs when the host unloads the module must find its code loaded.
void keepModuleLoaded();

}  // namespace ostria::storage
