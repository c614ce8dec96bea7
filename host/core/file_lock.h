// A lock on a file that several programs rewrite. Each system has its own; the core only holds it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/core/patience.h"

namespace ostria::host {

/// Held from its making to its end.
class FileLock {
 public:
  virtual ~FileLock() = default;
};

/// Makes the file if it is not there, for this user alone, and waits for the lock as long as the
/// patience lasts.
/// @return null when the lock cannot be had
using LockFile =
    std::function<std::unique_ptr<FileLock>(const std::string& path, Patience& patience)>;

}  // namespace ostria::host
