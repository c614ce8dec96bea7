#pragma once

#include <string>
#include <vector>

namespace ostria::storage {

/// Writes an HTML table without line breaks. Texts go in as they are, without escaping.
/// @param headers          one for each column
/// @param headerAlignment  "left" or "right"; anything else writes no attribute
/// @param cells            row after row; cells beyond the last full row stay in an unclosed row
/// @param width            0 writes no width
/// @param widthInPixels    else the width is in percent
std::string makeHtmlTable(const std::vector<std::string>& headers,
                          const std::string& headerAlignment, const std::vector<std::string>& cells,
                          const std::string& cellAlignment, int width, bool widthInPixels);

}  // namespace ostria::storage
