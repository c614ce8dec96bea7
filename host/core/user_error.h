#pragma once

#include <string>
#include <variant>

namespace ostria::host {

/// One sentence for the user about what is wrong with the command line or a file named on it.
struct UsageError {
  std::string sentence;
};

template <typename T>
using OrUsageError = std::variant<T, UsageError>;

}  // namespace ostria::host
