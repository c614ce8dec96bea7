// The arguments come from the UTF-16 command line: argv has lost what the code page cannot say.
#include "host/platform/program_start.h"

#include <windows.h>
// After windows.h, whose types it needs.
#include <shellapi.h>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {

std::vector<std::string> startProgram(int, char**) {
  // A disk tool runs as administrator: a library or a program of the current folder must never be
  // taken for one of the system's.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  SetSearchPathMode(BASE_SEARCH_PATH_ENABLE_SAFE_SEARCHMODE | BASE_SEARCH_PATH_PERMANENT);
  SetEnvironmentVariableW(L"NoDefaultCurrentDirectoryInExePath", L"1");

  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** const texts = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; texts != nullptr && i < count; ++i) {
    arguments.push_back(narrowText(texts[i]));
  }
  LocalFree(texts);
  return arguments;
}

}  // namespace ostria::host
