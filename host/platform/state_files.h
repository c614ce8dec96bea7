// Where a program keeps what outlives it, and how two of them share it.
#pragma once

#include <memory>
#include <string>

#include "host/core/file_lock.h"

namespace ostria::host {

/// The folder for the state of programs, of the system for root and else of the user, without a
/// slash at its end. It need not exist. Empty when it is not known.
std::string stateFolder();

/// A lock on the file, in the meaning of `LockFile`.
std::unique_ptr<FileLock> lockFile(const std::string& path, Patience& patience);

}  // namespace ostria::host
