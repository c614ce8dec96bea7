// How files that somebody else may have made are read: whole, within a bound, and only what is a
// file. Each system has its own way; the core only asks.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/core/user_error.h"

namespace ostria::host {

/// What a file must be to be read.
struct FileDemands {
  std::uint64_t mostBytes = 0;
  /// Found without being named, so it may be anybody's: it must be no link, belong to root or the
  /// caller, and be writable by nobody else.
  bool trusted = false;
};

inline constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;
inline constexpr FileDemands kSettingsDemands{kMebibyte};
inline constexpr FileDemands kUsualSettingsDemands{kMebibyte, true};
inline constexpr FileDemands kTextsDemands{kMebibyte};
inline constexpr FileDemands kMachineDemands{16 * kMebibyte};

/// Key of the error for a file that is not there.
inline constexpr const char* kFileMissing = "file.missing";

/// Reads a regular file whole; never blocks on a pipe.
/// @return the content, or why it is not read
using FileReader =
    std::function<OrUsageError<std::string>(const std::string& path, const FileDemands& demands)>;

}  // namespace ostria::host
