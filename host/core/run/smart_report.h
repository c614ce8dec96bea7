// From the text of a SMART or vendor log report to its rows.
#pragma once

#include <string_view>
#include <vector>

#include "host/core/model/smart_rows.h"

namespace ostria::host {

/// Reads the report's text: an array of objects with text values. The values are not escaped, so a
/// quotation mark inside one does not end it. What is no such text gives what could be read.
std::vector<SmartRow> readSmartReport(std::string_view text);

}  // namespace ostria::host
