// What devices, files and records call themselves, made fit to be shown.
#pragma once

#include <string>
#include <string_view>

namespace ostria::host {

/// The text with a "?" for each invalid byte of UTF-8 and for each control, format, bidirectional
/// or separator character. Line feeds and tabs stay: what lays out columns treats them itself.
std::string cleanText(std::string_view text);

/// A JSON document in ASCII: what is beyond it becomes an escape of two bytes or two of them. Only
/// strings can hold it.
std::string asciiJson(std::string_view document);

}  // namespace ostria::host
