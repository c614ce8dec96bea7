// Where the program's own files lie: beside it.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

/// Folders of language files; those of the last win. Without a folder of the program only the
/// user's own.
std::vector<std::string> textsFolders();

/// Path of the module's library; empty when the program does not know its folder, as it then knows
/// no module that it could trust.
std::string modulePath(bool virtualPc);

}  // namespace ostria::host
