// The text services of the module itself on Windows.
#include "platform/windows/services/win_string_handler_imp.h"

namespace ostria::storage {

StringHandler& getLocalStringHandler() {
  static StringHandler& handler = *new WinStringHandlerImp;
  return handler;
}

}  // namespace ostria::storage
