// The environment variables of POSIX.
#include "host/platform/environment.h"

#include <cstdlib>

namespace ostria::host {

std::string userLocale() {
  // The first of them that is set wins, as for every program.
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  return {};
}

void setVariable(const std::string& name, const std::string& value) {
  if (value.empty()) {
    unsetenv(name.c_str());
  } else {
    setenv(name.c_str(), value.c_str(), 1);
  }
}

}  // namespace ostria::host
