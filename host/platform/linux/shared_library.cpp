// dlopen. Every symbol is bound at once: a library that does not fit is refused here, and not in
// the middle of a test.
#include "host/platform/shared_library.h"

#include <dlfcn.h>

namespace ostria::host {

void* openLibrary(const std::string& path, std::string& reason) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* text = dlerror();
    reason = text != nullptr ? text : path;
  }
  return library;
}

void* libraryFunction(void* library, const char* name) { return dlsym(library, name); }

}  // namespace ostria::host
