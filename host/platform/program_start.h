// What has to come before everything else.
#pragma once

#include <string>
#include <vector>

namespace ostria::host {

/// Prepares the process where the system wants it: libraries are no longer looked for in the
/// current folder, which may be anybody's, and no core file holds what was read from a disk.
/// @return the arguments in UTF-8, without the program's name
std::vector<std::string> startProgram(int argc, char** argv);

}  // namespace ostria::host
