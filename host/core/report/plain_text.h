// Width, line breaks and escaping of plain text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ostria::host {

/// Columns that a UTF-8 text takes, one for each code point.
std::size_t columns(std::string_view text);
/// The first `width` columns; a cut is marked by "~" in the last one.
std::string fitted(std::string_view text, std::size_t width);
/// The text filled with blanks to at least `width` columns.
std::string padded(std::string text, std::size_t width);
/// Breaks at blanks so that no line is wider than `width`; all lines but the first begin with
/// `indent` blanks. A word that is too long is broken. `width` 0 breaks nothing.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);
/// `cleanText` on one line: line ends and tabs become blanks. What a device calls itself must not
/// steer a terminal.
std::string harmless(std::string_view text);

}  // namespace ostria::host
