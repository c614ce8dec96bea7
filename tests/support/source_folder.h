// Files of the checkout that a test reads. The folder's name is compiled into one source alone, so
// that the objects of all other tests are the same in every checkout and a compiler cache serves
// them all.
#pragma once

#include <string>

namespace ostria::storage::test {

// The full path of a file of the checkout; `name` is relative to its root.
std::string sourceFile(const std::string& name);

}  // namespace ostria::storage::test
