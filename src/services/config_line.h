#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ostria::storage {

/// What one line of a configuration file says, comment cut away. Letters, digits, blanks and white
/// space mean those of ASCII, whatever the locale. Every function takes time in proportion to the
/// length of the line, and a fixed amount of stack.
namespace config_line {

/// Nothing but white space.
bool isBlank(std::string_view line);

/// The rule that a malformed line breaks, 1001 to 1014; 0 for a line in order. The rules are tried
/// in a fixed order and each may match anywhere in the line.
std::uint32_t brokenRule(std::string_view line);

/// The name in the first pair of brackets that holds letters, digits, "_", "*" and white space
/// alone; nothing when there is none.
std::optional<std::string_view> sectionName(std::string_view line);

struct KeyAndValue {
  std::string_view key;
  std::string_view value;  ///< up to the end of the line, white space at its end included
};
/// The word before the first "=" that has one, and what stands behind it; nothing when there is
/// none, or nothing behind.
std::optional<KeyAndValue> keyAndValue(std::string_view line);

}  // namespace config_line
}  // namespace ostria::storage
