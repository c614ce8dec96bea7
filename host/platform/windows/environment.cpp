// The variables that Unix programs read come first, so that a script can choose the language here,
// too; then the language of the user's account.
#include "host/platform/environment.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "host/platform/windows/wide_text.h"

namespace ostria::host {

std::string userLocales() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  const int units = GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
  std::string locale = units > 0 ? narrowText(name) : std::string();
  std::replace(locale.begin(), locale.end(), '-', '_');
  return locale;
}

std::string userTextsFolder() {
  const wchar_t* folder = _wgetenv(L"APPDATA");
  return folder != nullptr ? narrowText(folder) + "/ostria/texts" : std::string();
}

void setVariable(const std::string& name, const std::string& value) {
  // The C library's copy is the one that the module reads; an empty value removes it there.
  _wputenv_s(wideText(name).c_str(), wideText(value).c_str());
}

}  // namespace ostria::host
