#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ostria::host {

/// One row of a module's SMART or log page report; a field that the report does not have is empty.
struct SmartRow {
  std::string id;
  std::string name;
  std::string value;
  std::string worst;
  std::string threshold;
  std::string data;

  /// The normalised value has reached its threshold.
  bool isBelowThreshold() const;
};

/// Reads the report's text: an array of objects with text values. The values are not escaped, so a
/// quotation mark inside one does not end it.
std::vector<SmartRow> readSmartReport(std::string_view text);

}  // namespace ostria::host
