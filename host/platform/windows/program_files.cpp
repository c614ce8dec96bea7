// The program's own folder, from the path of its file. Paths may be longer than MAX_PATH.
#include "host/platform/program_files.h"

#include <windows.h>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {

std::string programFolder() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD units = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (units == 0) {
      return {};
    }
    if (units < path.size()) {
      path.resize(units);
      break;
    }
    path.resize(path.size() * 2);  // it was cut
  }
  return narrowText(path.substr(0, path.find_last_of(L'\\')));
}

std::string libraryFileName(const std::string& name) { return name + ".dll"; }

}  // namespace ostria::host
