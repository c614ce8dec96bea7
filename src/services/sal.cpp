// The services that are the same object for the module and for its platform.
#include "services/sal.h"

namespace ostria::storage {

StringHandler* get_string_handler() { return &getLocalStringHandler(); }

NumberHandler* get_number_handler() { return &getLocalNumberHandler(); }

Filesystem* get_filesystem() { return &getLocalFilesystem(); }

Cim* get_cim() {
  static Cim* const kCim = makeCim().release();
  return kCim;
}

}  // namespace ostria::storage
