// LoadLibraryExW by full path. What the library itself needs comes from its own folder or from the
// system's, never from the current one.
#include "host/platform/shared_library.h"

#include <windows.h>

#include <algorithm>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {

void* openLibrary(const std::string& path, std::string& reason) {
  std::wstring file = wideText(path);
  std::replace(file.begin(), file.end(), L'/', L'\\');
  const HMODULE library = LoadLibraryExW(
      file.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) {
    reason = narrowText(file) + ": " + systemSentence(GetLastError());
  }
  return library;
}

void* libraryFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

}  // namespace ostria::host
