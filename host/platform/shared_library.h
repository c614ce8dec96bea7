// Loading of a shared library at run time.
#pragma once

#include <string>

namespace ostria::host {

/// Loads a library, which stays loaded until the program ends.
/// @param reason  gets the system's own sentence when it cannot be loaded
/// @return null on failure
void* openLibrary(const std::string& path, std::string& reason);

/// The address of an exported function, null when there is none.
void* libraryFunction(void* library, const char* name);

}  // namespace ostria::host
