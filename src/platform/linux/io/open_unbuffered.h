#pragma once

#include <sys/types.h>

#include <string>

namespace ostria::storage {

/// Opens with O_DIRECT and O_CLOEXEC, so that what is read comes from the medium. What has no
/// unbuffered access, such as a file on tmpfs, is opened without it.
/// @param flags  of open(2); @param mode  permissions of a file that is created
/// @return a descriptor of the caller's, or -1 with errno
int openUnbuffered(const std::string& path, int flags, mode_t mode = 0);

}  // namespace ostria::storage
