// The system's own text is UTF-16, the program's is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace ostria::host {

/// What is no valid UTF-8 becomes the replacement character.
std::wstring wideText(std::string_view text);
/// A lone surrogate becomes the replacement character.
std::string narrowText(std::wstring_view text);

/// The system's own sentence for an error number, in the user's language, without a line end.
std::string systemSentence(unsigned long error);

}  // namespace ostria::host
