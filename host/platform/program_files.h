// The files that lie beside the program.
#pragma once

#include <string>

namespace ostria::host {

/// Folder of the running program, without a slash at its end; empty when it is not known.
std::string programFolder();

/// File name of a shared library: "libmodule_storage.so" of "module_storage".
std::string libraryFileName(const std::string& name);

}  // namespace ostria::host
