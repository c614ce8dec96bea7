// The one source that knows where the checkout lies.
#include "tests/support/source_folder.h"

namespace ostria::storage::test {

std::string sourceFile(const std::string& name) { return OSTRIA_SOURCE_DIR "/" + name; }

}  // namespace ostria::storage::test
