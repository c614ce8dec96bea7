// The program's own folder. Without /proc nobody knows it, and no other is searched in its stead:
// anybody may have put a library there.
#include "host/platform/program_files.h"

#include <filesystem>

namespace ostria::host {

std::string programFolder() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : self.parent_path().string();
}

std::string libraryFileName(const std::string& name) { return "lib" + name + ".so"; }

}  // namespace ostria::host
