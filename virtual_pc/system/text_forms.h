// Text conversions of the virtual system.
#pragma once

#include <string>
#include <string_view>

namespace ostria::virtual_pc {

/// UTF-8 and wide text, in which a wide character is one code point. What can't be converted
/// becomes U+FFFD; with `strict` the conversion then gives false.
bool toWide(std::string_view text, std::wstring* out, bool strict = false);
bool toUtf8(std::wstring_view text, std::string* out, bool strict = false);
std::wstring wide(std::string_view text);
std::string utf8(std::wstring_view text);

/// ASCII letters in lower case, for names whose case does not matter.
std::string lowerCase(std::string_view text);

/// Whether a name matches a pattern with * and ?, whatever its case.
bool matchesPattern(std::string_view name, std::string_view pattern);

}  // namespace ostria::virtual_pc
