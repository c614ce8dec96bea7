// The one way in which devices and scratch files are opened for O_DIRECT.
#include "platform/linux/io/open_unbuffered.h"

#include <fcntl.h>

#include <cerrno>

namespace ostria::storage {

int openUnbuffered(const std::string& path, int flags, mode_t mode) {
  const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_DIRECT, mode);
  // EINVAL is the answer of a file system or driver without direct I/O.
  if (descriptor >= 0 || errno != EINVAL) {
    return descriptor;
  }
  return ::open(path.c_str(), flags | O_CLOEXEC, mode);
}

}  // namespace ostria::storage
