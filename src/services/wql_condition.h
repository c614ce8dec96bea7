#pragma once

#include <optional>
#include <string>

namespace ostria::storage {

/// The condition of a WMI query, of the one form that this system asks: a property equals a
/// value.
struct WqlCondition {
  std::string property;
  std::string value;

  /// As the query language compares: without regard to the case of letters.
  bool accepts(const std::string& text) const;
};

/// @param text  "Name = 'value'", or the value in double quotes, or a bare number
/// @return nothing for a condition of any other form
std::optional<WqlCondition> parseWqlCondition(const std::string& text);

/// Whether two names are the same but for the case of letters.
bool sameName(const std::string& a, const std::string& b);

}  // namespace ostria::storage
