// Tables of the HTML reports, without line breaks.
#include "inventory/html_table.h"

namespace ostria::storage {
namespace {

std::string alignmentAttribute(const std::string& alignment) {
  if (alignment != "left" && alignment != "right") {
    return "";
  }
  return " align=\"" + alignment + "\"";
}

}  // namespace

std::string makeHtmlTable(const std::vector<std::string>& headers,
                          const std::string& headerAlignment, const std::vector<std::string>& cells,
                          const std::string& cellAlignment, int width, bool widthInPixels) {
  std::string out = "<table";
  if (width != 0) {
    out += " width=\"" + std::to_string(width) + (widthInPixels ? "" : "%") + "\"";
  }
  out += "><tr>";
  const std::string headerTag = "<th" + alignmentAttribute(headerAlignment) + "> ";
  for (const std::string& header : headers) {
    out += headerTag + header + " </th>";
  }
  out += "</tr>";

  const std::string cellTag = "<td" + alignmentAttribute(cellAlignment) + "> ";
  std::size_t column = 0;
  for (const std::string& cell : cells) {
    if (column == 0) {
      out += "<tr>";
    }
    out += cellTag + cell + " </td>";
    if (++column == headers.size()) {
      out += "</tr>";
      column = 0;
    }
  }
  return out + "</table>";
}

}  // namespace ostria::storage
