// The environment variables of POSIX.
#include "host/platform/environment.h"

#include <unistd.h>

#include <cstdlib>

namespace ostria::host {
namespace {

std::string variable(const char* name) {
  const char* value = secure_getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

std::string userLocales() {
  // The first of them that is set wins, as for every program.
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const std::string value = variable(name);
    if (value.empty()) {
      continue;
    }
    // A list of languages holds in any locale but that of programs.
    const std::string languages = variable("LANGUAGE");
    return value == "C" || value == "POSIX" || languages.empty() ? value : languages;
  }
  return {};
}

std::string userTextsFolder() {
  // Root's variables may be those of whoever became root.
  if (geteuid() == 0) {
    return {};
  }
  const std::string config = variable("XDG_CONFIG_HOME");
  if (config.starts_with('/')) {
    return config + "/ostria/texts";
  }
  const std::string home = variable("HOME");
  return home.starts_with('/') ? home + "/.config/ostria/texts" : std::string();
}

void setVariable(const std::string& name, const std::string& value) {
  if (value.empty()) {
    unsetenv(name.c_str());
  } else {
    setenv(name.c_str(), value.c_str(), 1);
  }
}

}  // namespace ostria::host
