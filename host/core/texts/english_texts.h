// The built-in texts.
#pragma once

#include <string_view>

namespace ostria::host {

/// Content of the file of English texts, put into the program when it is built.
std::string_view englishTexts();

}  // namespace ostria::host
