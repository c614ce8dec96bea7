// What is wrong with the command line or a file named on it.
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace ostria::host {

/// Values for the names in braces of a text: {"option", "--x"} for "{option}".
using Arguments = std::vector<std::pair<std::string, std::string>>;

/// One sentence for the user, as a key of the host's texts: it is found before the texts of the
/// user's language are read. `Texts::say` makes the sentence.
struct UsageError {
  std::string key;  ///< empty: nothing is wrong
  Arguments arguments;

  bool isSet() const { return !key.empty(); }
};

template <typename T>
using OrUsageError = std::variant<T, UsageError>;

}  // namespace ostria::host
