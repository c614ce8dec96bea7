// Nothing is looked for in the current folder, which may be anybody's.
#include "host/cli/installed_files.h"

#include "host/platform/environment.h"
#include "host/platform/module_library.h"
#include "host/platform/program_files.h"

namespace ostria::host {

std::vector<std::string> textsFolders() {
  std::vector<std::string> folders;
  if (const std::string own = programFolder(); !own.empty()) {
    folders.push_back(own + "/texts");
  }
  if (const std::string users = userTextsFolder(); !users.empty()) {
    folders.push_back(users);
  }
  return folders;
}

std::string modulePath(bool virtualPc) {
  const std::string folder = programFolder();
  return folder.empty()
             ? folder
             : folder + "/" +
                   libraryFileName(virtualPc ? "module_storage_virtual" : "module_storage");
}

}  // namespace ostria::host
